#pragma once

#include "base/Object.h"

#include <string_view>

namespace norq_std {

/// One line of a configuration: a key with its value, a comment, or a blank line.
///
/// What it is follows from its texts alone. A plain value without a lock.
class NORQSTD_EXPORT ConfigurationElement : public Object {
public:
    /// A blank line.
    ConfigurationElement();
    /// A comment, without the mark that a file puts in front of it.
    explicit ConfigurationElement(const WString& comment);
    /// A key, trimmed on both sides, and its value, trimmed on the right. Throws `NorqIllegalArgumentException` for a
    /// key of which nothing remains.
    ConfigurationElement(const WString& key, const WString& value);
    ConfigurationElement(const ConfigurationElement& other) = default;
    ConfigurationElement(ConfigurationElement&& other) noexcept = default;
    ConfigurationElement& operator=(const ConfigurationElement& other) = default;
    ConfigurationElement& operator=(ConfigurationElement&& other) noexcept = default;
    ~ConfigurationElement() override;

    WString toString() const override;

    WString getKey() const { return key; }
    WString getValue() const { return value; }
    WString getComment() const { return comment; }
    /// Trimmed on both sides; an empty key makes the element a comment or a blank line.
    void setKey(const WString& newKey);
    /// Trimmed on the right.
    void setValue(const WString& newValue);
    void setComment(const WString& newComment) { comment = newComment; }

    bool isKeyValue() const { return !key.empty(); }
    /// True for a blank line as well: ask `isEmpty` first.
    bool isComment() const { return key.empty(); }
    bool isEmpty() const { return key.empty() && comment.empty(); }

    /// The texts without a copy, valid until they are changed.
    std::u16string_view keyView() const { return key; }
    std::u16string_view valueView() const { return value; }
    std::u16string_view commentView() const { return comment; }

private:
    friend class ConfigurationSection; // sets texts that are trimmed already

    WString key;
    WString value;
    WString comment;
};

} // namespace norq_std
