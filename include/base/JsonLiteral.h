#pragma once

#include "base/JsonAware.h"

#include <memory>

namespace norq_std {

/// One of the JSON words true, false and null. There are three objects of this class, shared by all uses and immutable.
class NORQSTD_EXPORT JsonLiteral : public JsonAware {
public:
    /// The three values. They are made before other static objects of the library and are never destroyed, so that they
    /// serve during start-up and exit; because nobody ever has to release them, their pointers count no uses.
    static const std::shared_ptr<JsonLiteral>& True;
    static const std::shared_ptr<JsonLiteral>& False;
    static const std::shared_ptr<JsonLiteral>& Null;

    JsonLiteral(const JsonLiteral&) = delete;
    JsonLiteral& operator=(const JsonLiteral&) = delete;

    WString toJsonString() const override;
    ~JsonLiteral() override;

    bool operator==(const JsonLiteral& other) const { return text == other.text; }

private:
    friend struct JsonLiterals;

    explicit JsonLiteral(const WString& text);

    WString text;
};

} // namespace norq_std
