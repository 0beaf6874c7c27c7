// The operations of Base64Utils on byte arrays, a storey above the others.

#include "base/Base64Utils.h"
#include "internal/RawBytes.h"
#include "stream/ByteArray.h"

#include <limits>

namespace norq_std {

std::uint32_t Base64Utils::getBase64StringLength(const ByteArray& bytes) {
    return static_cast<std::uint32_t>(bytes.getLength()) / 3 * 4 + 5;
}

std::shared_ptr<ByteArray> Base64Utils::base64ToByteArray(const std::string& base64) {
    constexpr const WChar* function = u"norq_std::Base64Utils::base64ToByteArray";
    const std::size_t room = base64.size() / 4 * 3 + 3;
    if (room > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        return nullptr;
    auto decoded = norq_std_internal::RawBytes::make(static_cast<std::int32_t>(room));
    const std::int64_t length = internalBase64ToMbcs(base64, decoded->getArray().get(), room);
    if (isFailure(length, function))
        return nullptr;
    norq_std_internal::RawBytes::cut(*decoded, static_cast<std::int32_t>(length));
    return decoded;
}

std::string Base64Utils::byteArrayToBase64(const ByteArray& bytes) {
    return encode(bytes.getArray().get(), static_cast<std::size_t>(bytes.getLength()));
}

} // namespace norq_std
