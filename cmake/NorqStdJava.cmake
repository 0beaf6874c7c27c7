# The Java development kit. jni.h is needed to build the library, so a kit without it ends the configuration; the Java
# sources of tests and examples are compiled where javac is found and left out, with a message, where it is not.
#
#   norqstd_add_jar(TARGET FOLDER...)   all *.java below the folders become TARGET.jar, built by the target of that
#                                       name; its path is the target property JAR_FILE. Only where NORQSTD_JAVAC is
#                                       true.
#
# NORQSTD_JVM is the virtual machine's library and JAVA_HOME the kit's folder; Java_JAVA_EXECUTABLE is the launcher.

# Headers, launcher and virtual machine come from the one kit that javac belongs to.
find_package(Java 17 QUIET COMPONENTS Runtime Development)
if(Java_Development_FOUND AND NOT JAVA_HOME)
    file(REAL_PATH "${Java_JAVAC_EXECUTABLE}" NORQSTD_JAVAC_PATH)
    cmake_path(GET NORQSTD_JAVAC_PATH PARENT_PATH NORQSTD_JAVA_BIN)
    cmake_path(GET NORQSTD_JAVA_BIN PARENT_PATH JAVA_HOME)
endif()
find_package(JNI QUIET COMPONENTS JVM)
if(NOT TARGET JNI::JNI)
    message(FATAL_ERROR "jni.h was not found: install a JDK (Debian: openjdk-17-jdk-headless), or set JAVA_HOME to one")
endif()

if(Java_Development_FOUND AND JNI_JVM_FOUND)
    set(NORQSTD_JAVAC ON)
    set(NORQSTD_JVM "${JAVA_JVM_LIBRARY}")
    include(UseJava)
else()
    set(NORQSTD_JAVAC OFF)
    message(WARNING "No JDK 17 with javac: the Java sources are not compiled, and what starts a virtual machine is left "
        "out of the tests and examples. Install openjdk-17-jdk-headless, or set JAVA_HOME.")
endif()

function(norqstd_add_jar target)
    list(TRANSFORM ARGN APPEND "/*.java" OUTPUT_VARIABLE patterns)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${patterns})
    set(CMAKE_JAVA_COMPILE_FLAGS -Xlint:all -Werror)
    add_jar(${target} SOURCES ${sources})
endfunction()
