#pragma once

#include "base/Object.h"

#include <memory>
#include <mutex>

namespace norq_std {

class ByteArray;
class Configuration;

/// Conversion between the bytes of a file and a configuration, in one character set.
///
/// It remembers the line separator of the last text that it read, and writes with it; files that share a serializer
/// share that memory. Any thread may call anything but `setCharset`, which belongs to the time before use.
class NORQSTD_EXPORT ConfigurationSerializer : public Object {
public:
    /// windows-1252
    static const WString& defaultCharset;

    /// Throws `NorqIllegalArgumentException` for a character set that `EncodingUtils::isValidCharacterSet` refuses.
    explicit ConfigurationSerializer(const WString& charset);
    ConfigurationSerializer(const ConfigurationSerializer& other);
    ConfigurationSerializer& operator=(const ConfigurationSerializer& other);
    ~ConfigurationSerializer() override;

    WString toString() const override;

    /// Empty until a text with a line end was read, or anything was written.
    virtual WString getLineSeparator() const;
    virtual void setLineSeparator(const WString& separator);
    virtual std::shared_ptr<ByteArray> serialize(const Configuration& configuration) = 0;
    virtual std::shared_ptr<Configuration> deserialize(const ByteArray& bytes) = 0;
    /// A new one for the same character set and without a line separator, which the caller owns.
    virtual ConfigurationSerializer* newInstance() const = 0;

    WString getCharset() const { return charset; }
    /// Throws as the constructor, and then keeps the old one.
    void setCharset(const WString& newCharset);

private:
    WString charset;
    WString lineSeparator;
    // A separator is detected whenever any file that shares the serializer is read, on any thread.
    mutable std::mutex separatorMutex;
};

} // namespace norq_std
