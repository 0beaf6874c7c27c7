#include "internal/NorqLibraryPimpl.h"

#include "base/EncodingUtils.h"
#include "exception/NorqException.h"
#include "platform/Error.h"
#include "platform/SharedLibrary.h"

namespace norq_std_internal {

using norq_std::EncodingUtils;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqUnknownException;
using norq_std::WString;

NorqLibraryPimpl::~NorqLibraryPimpl() { platform::freeLibrary(module); }

WString NorqLibraryPimpl::toString() const { return u"NorqLibraryPimpl{path='" + path + u"'}"; }

void NorqLibraryPimpl::load(const WString& libraryPath) {
    WString reason;
    void* const loaded = platform::loadLibrary(libraryPath, reason);
    if (loaded == nullptr) {
        const std::int32_t error = platform::lastError();
        const WString message = u"Unable to open library <" + libraryPath + u">: " + reason;
        if (error == platform::FileNotFound || error == platform::ModuleNotFound)
            throw NorqIllegalArgumentException(message, error);
        throw NorqUnknownException(message, error);
    }
    platform::freeLibrary(module);
    module = loaded;
    path = libraryPath;
}

void* NorqLibraryPimpl::getSymbol(const WString& name) const {
    void* const address = platform::librarySymbol(module, EncodingUtils::convertUnicodeToMbcs(name, 0));
    if (address == nullptr)
        throw NorqIllegalArgumentException(u"Symbol not found <" + name + u">");
    return address;
}

} // namespace norq_std_internal
