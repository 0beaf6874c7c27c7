#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// Takes a command line apart into switches and their values.
class NORQSTD_EXPORT IArgumentParser {
public:
    /// Run in the foreground instead of under the service manager.
    static constexpr const WChar* ARG_FOREGROUND = u"F";
    /// Set aside for programs that start or stop their service; the library does not look at it.
    static constexpr const WChar* ARG_SERVICE_START_STOP = u"S";

    virtual ~IArgumentParser();

    /// Forgets what was parsed before, and takes in `argv[1]` to `argv[argc - 1]`, or to the first null before that.
    virtual void parseArguments(int argc, const WChar* const* argv) = 0;
    virtual bool argumentParsed(const WString& name) = 0;
    virtual WString argumentValue(const WString& name) = 0;

    /// The same for what the main function is given, as UTF-8; bytes that are not UTF-8 become U+FFFD.
    void parseArguments(int argc, const char* const* argv);

protected:
    IArgumentParser() = default;
    IArgumentParser(const IArgumentParser&) = default;
    IArgumentParser& operator=(const IArgumentParser&) = default;
};

} // namespace norq_std
