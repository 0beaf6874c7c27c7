#include "base/JsonLiteral.h"

#include <new>

namespace norq_std {

/// The pointers to the three objects, in storage that nothing destroys. The pointers own nothing: copying them touches
/// no counter that all threads would share.
struct JsonLiterals {
    constexpr JsonLiterals()
        : pointers{} {}
    ~JsonLiterals() {} // NOLINT(modernize-use-equals-default): the default of a union's owner is deleted
    JsonLiterals(const JsonLiterals&) = delete;
    JsonLiterals& operator=(const JsonLiterals&) = delete;

    static std::shared_ptr<JsonLiteral> make(const WChar* text) {
        return std::shared_ptr<JsonLiteral>(std::shared_ptr<void>(), new JsonLiteral(text));
    }

    union {
        std::shared_ptr<JsonLiteral> pointers[3];
    };
};

namespace {

constinit JsonLiterals literals;

struct MakeLiterals {
    MakeLiterals() {
        literals.pointers[0] = JsonLiterals::make(u"true");
        literals.pointers[1] = JsonLiterals::make(u"false");
        literals.pointers[2] = JsonLiterals::make(u"null");
    }
};

// Ahead of every static object without a priority of its own.
[[gnu::init_priority(101)]] const MakeLiterals makeLiterals;

} // namespace

constinit const std::shared_ptr<JsonLiteral>& JsonLiteral::True = literals.pointers[0];
constinit const std::shared_ptr<JsonLiteral>& JsonLiteral::False = literals.pointers[1];
constinit const std::shared_ptr<JsonLiteral>& JsonLiteral::Null = literals.pointers[2];

JsonLiteral::JsonLiteral(const WString& word)
    : text(word) {}

JsonLiteral::~JsonLiteral() = default;

WString JsonLiteral::toJsonString() const { return text; }

} // namespace norq_std
