target_include_directories(norqstd-bench-registrystore PRIVATE "${PROJECT_SOURCE_DIR}/src") # to let the database go
target_link_libraries(norqstd-bench-registrystore PRIVATE SQLite::SQLite3)
