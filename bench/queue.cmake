find_package(Boost REQUIRED COMPONENTS thread)
target_link_libraries(norqstd-bench-queue PRIVATE Boost::thread)
