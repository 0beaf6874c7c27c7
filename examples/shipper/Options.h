#pragma once

#include <string>
#include <vector>

namespace shipper {

/// What the command line asks for.
struct Options {
    std::vector<std::string> files;
    std::string config;      ///< file with the settings, followed live; none where empty
    std::string match;       ///< ship only lines that contain this
    std::string output;      ///< file to write, standard output where empty
    unsigned workers = 0;    ///< 0: as the settings, or the processors, say
    std::string stopEvent;   ///< name of an event by which others end the agent; none where empty
    bool foreground = false; ///< an agent, though a service manager started it
    bool follow = false;     ///< go on with what is written to the files
    bool quiet = false;
    bool help = false;
};

/// Throws `std::invalid_argument` with a sentence for the user.
Options parseCommandLine(int argc, const char* const* argv);

/// Throws `std::invalid_argument`.
unsigned parseWorkers(const std::string& text);
/// One for each processor.
unsigned defaultWorkers();

/// The package manager's history: what is there of it, in plain text. Names of files left out go to `skipped`.
std::vector<std::string> findDefaultFiles(std::vector<std::string>& skipped);

extern const char* const USAGE;

} // namespace shipper
