# Where things are installed. On Debian the library goes into the folder of its architecture, under every prefix: there
# the loader, find_package and pkg-config all look.
if(NOT DEFINED CMAKE_INSTALL_LIBDIR AND CMAKE_LIBRARY_ARCHITECTURE AND EXISTS "/etc/debian_version")
    set(CMAKE_INSTALL_LIBDIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}" CACHE PATH "Libraries, below the prefix")
endif()
include(GNUInstallDirs)
