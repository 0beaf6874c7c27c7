#pragma once

#include "base/WString.h"
#include "file/IFileFilter.h"

#include <vector>

namespace norq_std {

/// Accepts files by a pattern of their names, without regard to case.
///
/// `?` stands for one unit. `*` stands for any number of units: at the end for all that is left, else up to the last
/// occurrence of the plain text behind it. There is no going back: "a*b*b" asks for a last "b" behind the last "b", and
/// accepts nothing; a wildcard right behind `*` is taken as plain text. Immutable once made; any thread may call.
class NORQSTD_EXPORT WildcardFileFilter : public IFileFilter {
public:
    /// An empty pattern throws `NorqIllegalArgumentException`.
    explicit WildcardFileFilter(const WString& matchString);
    WildcardFileFilter(const WildcardFileFilter& other) = default;
    WildcardFileFilter& operator=(const WildcardFileFilter& other) = default;

    bool accept(const File& file) const override;

    virtual ~WildcardFileFilter();

private:
    std::vector<WString> tokens;
};

} // namespace norq_std
