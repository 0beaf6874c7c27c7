#include "prefs/XmlTranscodedStringRaii.h"

#include <xercesc/util/XMLString.hpp>

namespace norq_std {

XmlTranscodedStringRaii::XmlTranscodedStringRaii(const WString& text)
    : XmlTranscodedStringRaii(text.c_str()) {}

XmlTranscodedStringRaii::XmlTranscodedStringRaii(const XMLCh* text)
    : value(use && text != nullptr ? xercesc::XMLString::transcode(text) : nullptr) {}

XmlTranscodedStringRaii::~XmlTranscodedStringRaii() {
    if (value != nullptr)
        xercesc::XMLString::release(&value);
}

std::string XmlTranscodedStringRaii::getValue() const { return value == nullptr ? std::string() : std::string(value); }

} // namespace norq_std
