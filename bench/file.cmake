target_link_libraries(norqstd-bench-file PRIVATE ZLIB::ZLIB)
