find_package(Boost 1.75 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(NORQSTD_GLIB REQUIRED IMPORTED_TARGET glib-2.0)
target_link_libraries(norqstd-bench-config PRIVATE PkgConfig::NORQSTD_GLIB Boost::headers) # SimpleIni is a header alone
