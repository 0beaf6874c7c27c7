find_package(Boost REQUIRED)
find_package(Poco REQUIRED COMPONENTS Foundation)
target_link_libraries(norqstd-bench-connection PRIVATE Boost::headers Poco::Foundation)
