#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace norq_std_internal {

/// The version resource of one file: keys and values, as texts that each end in a zero unit.
class VersionBlock {
public:
    // The keys of the resource.
    static constexpr const norq_std::WChar* ProductName = u"ProductName";
    static constexpr const norq_std::WChar* ProductVersion = u"ProductVersion";
    static constexpr const norq_std::WChar* CompanyName = u"CompanyName";
    static constexpr const norq_std::WChar* LegalCopyright = u"LegalCopyright";
    static constexpr const norq_std::WChar* Comments = u"Comments";
    static constexpr const norq_std::WChar* FileDescription = u"FileDescription";
    static constexpr const norq_std::WChar* FileVersion = u"FileVersion";
    static constexpr const norq_std::WChar* InternalName = u"InternalName";
    static constexpr const norq_std::WChar* LegalTrademarks = u"LegalTrademarks";
    static constexpr const norq_std::WChar* PrivateBuild = u"PrivateBuild";
    static constexpr const norq_std::WChar* SpecialBuild = u"SpecialBuild";

    /// Replaces the block by that of a file; not valid for the empty name, and where there is no file or no resource.
    void load(const norq_std::WString& filename);
    bool isValid() const { return valid; }

    /// The value of a key, empty if it is not there; "Invalid filename" if the block is not valid.
    norq_std::WString value(const norq_std::WChar* key) const;

private:
    norq_std::WString block;
    bool valid = false;
};

} // namespace norq_std_internal
