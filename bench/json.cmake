find_package(nlohmann_json REQUIRED)
find_package(Boost 1.75 REQUIRED)
target_link_libraries(norqstd-bench-json PRIVATE nlohmann_json::nlohmann_json Boost::headers) # RapidJSON is headers alone
