find_package(spdlog REQUIRED)
find_package(log4cxx REQUIRED)
target_link_libraries(norqstd-bench-logentry PRIVATE spdlog::spdlog log4cxx)
