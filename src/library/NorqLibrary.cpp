#include "library/NorqLibrary.h"

#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "internal/NorqLibraryPimpl.h"
#include "log/NorqLoggerSTD.h"
#include "platform/SharedLibrary.h"
#include "system/NorqSystem.h"

#include <algorithm>
#include <array>

namespace norq_std {

using norq_std_internal::NorqLibraryPimpl;
namespace platform = norq_std_internal::platform;

namespace {

constexpr const WChar* CONSTRUCTOR = u"norq_std::NorqLibrary::NorqLibrary";

enum class Place : std::uint8_t { Property, WorkingDirectory, EnvironmentLib, EnvironmentPath };

constexpr std::array SEARCH_ORDER = {Place::Property, Place::WorkingDirectory, Place::EnvironmentLib,
                                     Place::EnvironmentPath};

/// The list of directories of a place; for the working directory that alone.
WString directoriesOf(Place place) {
    NorqSystem& system = NorqSystem::getInstance();
    WString value;
    switch (place) {
    case Place::Property:
        value = system.getProperty(u"Ext_Library_Path", WString());
        NORQ_LOG(CALL, CONSTRUCTOR, u"Trying NorqSystem key <%ls> value <%ls>.", u"Ext_Library_Path", value);
        break;
    case Place::WorkingDirectory:
        value = File().getCanonicalPath();
        NORQ_LOG(CALL, CONSTRUCTOR, u"Trying current directory <%ls>.", value);
        break;
    case Place::EnvironmentLib:
        value = system.getEnv(u"LIB");
        NORQ_LOG(CALL, CONSTRUCTOR, u"Trying environment key <%ls> value <%ls>.", u"LIB", value);
        break;
    case Place::EnvironmentPath:
        value = system.getEnv(u"PATH");
        NORQ_LOG(CALL, CONSTRUCTOR, u"Trying environment PATH value <%ls>.", value);
        break;
    }
    return value;
}

} // namespace

NorqLibrary::NorqLibrary(const WString& name)
    : pimpl(std::make_shared<NorqLibraryPimpl>()) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqLibrary::NorqLibrary");
    std::unique_ptr<NorqException> lastFailure;
    const auto find = [&](Place place) {
        try {
            const WString directories = directoriesOf(place);
            return place == Place::WorkingDirectory ? tryPath(directories, name) : tryMultiplePaths(directories, name);
        } catch (const NorqUnknownException& e) {
            lastFailure.reset(e.newInstance());
        } catch (const NorqIOException&) { // no working directory
        }
        return false;
    };
    if (!std::ranges::any_of(SEARCH_ORDER, find)) {
        const WString message = u"Unable to locate library <" + name + u">";
        if (lastFailure)
            throw NorqUnknownException(message, *lastFailure);
        throw NorqIllegalArgumentException(message);
    }
    NorqLoggerSTD::getInstance().STD0006(CONSTRUCTOR, getPath().c_str());
}

NorqLibrary::NorqLibrary(const File& file)
    : pimpl(std::make_shared<NorqLibraryPimpl>()) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqLibrary::NorqLibrary");
    if (!file.exists())
        throw NorqIllegalArgumentException(u"Library file does not exist <" + file.toString() + u">");
    WString path;
    try {
        path = file.getCanonicalPath();
    } catch (const NorqIOException& e) {
        throw NorqIllegalArgumentException(u"Unable to get path from File object <" + file.toString() + u">", e);
    }
    pimpl->load(path);
    NorqLoggerSTD::getInstance().STD0006(CONSTRUCTOR, path.c_str());
}

NorqLibrary::~NorqLibrary() = default;

WString NorqLibrary::toString() const { return u"NorqLibrary{path='" + getPath() + u"'}"; }

WString NorqLibrary::getPath() const { return pimpl->getPath(); }

void* NorqLibrary::getSymbolInternal(const WString& name) const { return pimpl->getSymbol(name); }

bool NorqLibrary::tryMultiplePaths(const WString& directories, const WString& file) {
    return std::ranges::any_of(platform::searchPathDirectories(directories),
                               [&](const WString& directory) { return tryPath(directory, file); });
}

bool NorqLibrary::tryPath(const WString& directory, const WString& file) {
    try {
        for (const WString& form : platform::libraryFileNames(file)) {
            const File candidate(directory, form);
            if (candidate.isFile()) {
                pimpl->load(candidate.getCanonicalPath());
                return true;
            }
        }
    } catch (const NorqUnknownException&) {
        throw;
    } catch (const NorqException&) { // no valid path, or gone meanwhile
    }
    return false;
}

} // namespace norq_std
