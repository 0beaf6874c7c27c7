find_package(PkgConfig REQUIRED)
pkg_check_modules(NORQSTD_GLIB REQUIRED IMPORTED_TARGET glib-2.0)
find_package(Qt5Core REQUIRED)
target_link_libraries(norqstd-bench-prefs PRIVATE PkgConfig::NORQSTD_GLIB Qt5::Core)
