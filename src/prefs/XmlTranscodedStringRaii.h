#pragma once

#include "base/Object.h"
#include "prefs/XmlUtils.h"

#include <string>

namespace norq_std {

/// Owns one narrow string that Xerces-C made of a wide text; see `XmlUtils::transcodeString`.
class XmlTranscodedStringRaii : public Object {
public:
    explicit XmlTranscodedStringRaii(const WString& text);
    /// Null has no result.
    explicit XmlTranscodedStringRaii(const XMLCh* text);
    XmlTranscodedStringRaii(const XmlTranscodedStringRaii&) = delete;
    XmlTranscodedStringRaii& operator=(const XmlTranscodedStringRaii&) = delete;
    ~XmlTranscodedStringRaii() override;

    /// Empty if there is no result.
    std::string getValue() const;

private:
    const norq_std_internal::XmlSystemUse use;
    char* value;
};

} // namespace norq_std
