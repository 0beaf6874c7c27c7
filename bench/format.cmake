find_package(fmt REQUIRED)
target_link_libraries(norqstd-bench-format PRIVATE fmt::fmt)
