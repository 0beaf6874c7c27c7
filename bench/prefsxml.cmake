# The tree is that of the tests.
target_include_directories(norqstd-bench-prefsxml PRIVATE "${PROJECT_SOURCE_DIR}/tests/prefs")
target_link_libraries(norqstd-bench-prefsxml PRIVATE XercesC::XercesC)
