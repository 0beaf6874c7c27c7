find_package(OpenSSL REQUIRED COMPONENTS Crypto)
target_link_libraries(norqstd-bench-base64 PRIVATE OpenSSL::Crypto Boost::headers)
