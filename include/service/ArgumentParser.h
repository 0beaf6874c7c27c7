#pragma once

#include "service/IArgumentParser.h"

#include <map>

namespace norq_std {

/// Switches of one character, in their case, each with a value: `-F` has an empty one, `-pabc` and `-p abc` have "abc".
///
/// What stands behind the character is trimmed of white space; every later argument that does not begin with a dash is
/// appended to the value of the switch before it, unchanged and with nothing between, so that `-a1 2 3` gives "123". A
/// switch given again keeps its first value, to which arguments behind it are still appended. A lone dash, and
/// arguments before the first switch, are ignored.
///
/// Not guarded: parse first, then ask from any thread.
class NORQSTD_EXPORT ArgumentParser : public IArgumentParser {
public:
    ArgumentParser();
    ~ArgumentParser() override;

    using IArgumentParser::parseArguments;
    void parseArguments(int argc, const WChar* const* argv) override;
    bool argumentParsed(const WString& name) override;
    /// Throws `NorqIllegalArgumentException` for a switch that was not given.
    WString argumentValue(const WString& name) override;

private:
    std::map<WString, WString> values;
};

} // namespace norq_std
