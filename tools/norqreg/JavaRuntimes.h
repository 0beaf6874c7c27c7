#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace norqreg {

/// A Java runtime on this machine.
struct JavaRuntime {
    std::string version;           ///< such as "17.0.9" or "1.8.0_392"
    std::filesystem::path home;    ///< without links
    std::filesystem::path machine; ///< libjvm.so, below the home
};

/// Those of which each place is or holds the home, each home once, in the order of the places. A place that is no
/// runtime, or does not tell its version in a file `release`, is passed over.
std::vector<JavaRuntime> findJavaRuntimes(const std::vector<std::filesystem::path>& places);

/// Below /usr/lib/jvm, at JAVA_HOME, at the java of PATH.
std::vector<std::filesystem::path> usualJavaPlaces();

} // namespace norqreg
