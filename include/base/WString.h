#pragma once

#include <string>

namespace norq_std {

/// The wide unit: one UTF-16 code unit, on every platform. Surrogates travel as they are.
using WChar = char16_t;

/// The wide string of every interface. Literals are written u"...".
using WString = std::u16string;

} // namespace norq_std
