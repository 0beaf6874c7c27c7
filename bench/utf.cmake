target_link_libraries(norqstd-bench-utf PRIVATE ICU::uc)
