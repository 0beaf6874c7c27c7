#include "file/File.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/WideChar.h"
#include "exception/NorqException.h"
#include "internal/PathElement.h"
#include "platform/FileSystem.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

/// Each element counts with a separator.
void assertLengthIsValid(std::size_t length) {
    if (length > File::maxPathSize)
        throw NorqIllegalArgumentException(u"Path length exceeded maximum path length.");
}

} // namespace

const WString& File::lineSeparator = *new WString(u"\r\n");

File::File(const WString& path)
    : elements(parsePath(path)) {
    assertPathIsValid(elements);
}

File::File(const WString& parent, const WString& child)
    : elements(parsePath(parent.empty() ? child : parent)) {
    if (!parent.empty())
        appendPathElements(parsePath(child));
    assertPathIsValid(elements);
}

File::File(const File& parent, const WString& child)
    : elements(parent.elements) {
    if (elements.empty())
        elements = parsePath(child);
    else
        appendPathElements(parsePath(child));
    assertPathIsValid(elements);
}

File::~File() = default;

WString File::toString() const { return u"File{path='" + getPath() + u"'}"; }

File File::operator+(const WString& child) const { return File(*this, child); }

bool File::operator==(const File& other) const {
    if (this == &other)
        return true;
    try {
        const WString mine = getCanonicalPath();
        const WString theirs = other.getCanonicalPath();
        return std::equal(mine.begin(), mine.end(), theirs.begin(), theirs.end(),
                          [](WChar a, WChar b) { return a == b || WideChar::toLower(a) == WideChar::toLower(b); });
    } catch (const NorqIOException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::File::operator==", u"Could not get canonical path: '%ls'", failure.getMessage());
        return false;
    }
}

WString File::getPath() const { return generatePathString(elements.begin(), elements.end()); }

WString File::getName() const {
    if (elements.size() >= 2)
        return elements.back();
    if (elements.size() == 1 && !isRootDirectory())
        return getAbsoluteFile().getName();
    return {};
}

WString File::getParent() const {
    if (elements.size() >= 2)
        return generatePathString(elements.begin(), std::prev(elements.end()));
    return !elements.empty() && isRootDirectory() ? getPath() : WString();
}

File File::getParentFile() const { return File(getParent()); }

bool File::isAbsolute() const { return !elements.empty() && isRoot(elements.front()); }

bool File::isRootDirectory() const { return isRoot(getAbsolutePath()); }

WString File::getAbsolutePath() const { return getAbsoluteFile().getPath(); }

File File::getAbsoluteFile() const {
    if (isAbsolute())
        return *this;
    File file;
    if (!elements.empty() && isSeparator(elements.front()))
        file.elements.push_back(platform::workingDrive());
    else
        file = getWorkingDirectory();
    file.appendPathElements(elements);
    assertPathIsValid(file.elements);
    return file;
}

WString File::getCanonicalPath() const {
    const bool startsAtDrive = !elements.empty() && isSeparator(elements.front());
    if (!startsAtDrive && !isAbsolute())
        return getAbsoluteFile().getCanonicalPath();
    WString path = startsAtDrive ? platform::workingDrive() : elements.front();
    std::size_t sum = path.size() + 1; // the drive is longer than the separator that it stands for
    for (auto element = std::next(elements.begin()); element != elements.end(); ++element)
        sum += element->size() + 1;
    assertLengthIsValid(sum);
    path.reserve(sum);
    path.front() = WideChar::toUpper(path.front());

    std::vector<const WString*> kept;
    kept.reserve(elements.size());
    for (auto element = std::next(elements.begin()); element != elements.end(); ++element) {
        if (*element != u".." && *element != u".")
            kept.push_back(&*element);
        else if (*element == u".." && !kept.empty())
            kept.pop_back();
    }
    for (const WString* const element : kept) {
        if (element != kept.front())
            path += pathSeparator;
        path += *element;
    }
    return path;
}

File File::getCanonicalFile() const { return File(getCanonicalPath()); }

File File::getWorkingDirectory() {
    // A path of more units could not be the path of a File.
    constexpr std::size_t LongestPath = maxPathSize - 2;
    WString path;
    if (!platform::workingDirectory(path, LongestPath))
        throw NorqIOException(ErrorUtils::getLastErrorDescription(), ErrorUtils::getLastError());
    try {
        return File(path);
    } catch (const NorqIllegalArgumentException& failure) {
        throw NorqIOException(path, failure);
    }
}

File File::getRootDirectory() {
    const WString path = getWorkingDirectory().getPath();
    if (path.size() < 3)
        throw NorqIOException(u"Working directory string doesn't contain drive letter");
    return File(path.substr(0, 3));
}

void File::assertFilenameIsValid(const WString& name) {
    if (std::any_of(name.begin(), name.end(), [](WChar unit) { return isSeparator(unit); }))
        throw NorqIllegalArgumentException(u"Filename must not contain any slashes.");
    assertPathElementIsValid(name);
}

File::PathList File::parsePath(const WString& path) {
    PathList list;
    std::size_t start = 0;
    if (!path.empty() && isSeparator(path.front())) {
        start = path.size() > 1 && isSeparator(path[1]) ? 2 : 1;
        list.push_back(path.substr(0, start));
    }
    while (start < path.size()) {
        const std::size_t end = std::min(path.find_first_of(u"/\\", start), path.size());
        if (end > start) {
            WString& element = list.emplace_back(path, start, end - start);
            if (end < path.size() && element.size() == 2 && isRoot(element + pathSeparator))
                element += pathSeparator;
        }
        start = end + 1;
    }
    return list;
}

WString File::generatePathString(PathList::const_iterator begin, PathList::const_iterator end) {
    WString path;
    if (begin != end && isRoot(*begin))
        path = *begin++;
    while (begin != end) {
        if (isSeparator(*begin)) {
            begin = std::find_if_not(begin, end, [](const WString& element) { return isSeparator(element); });
            if (begin != end || path.empty())
                path += pathSeparator;
            continue;
        }
        path += *begin++;
        if (begin != end)
            path += pathSeparator;
    }
    return path;
}

File::PathList File::getAbsolutePathList(const PathList& list) {
    PathList result;
    for (const WString& element : list) {
        if (element == u"..") {
            if (!result.empty())
                result.pop_back();
        } else if (element != u".") {
            result.push_back(element);
        }
    }
    return result;
}

void File::appendPathElements(const PathList& list) {
    const auto first = !list.empty() && isSeparator(list.front()) ? std::next(list.begin()) : list.begin();
    elements.insert(elements.end(), first, list.end());
}

void File::copy(const File& other) { elements = other.elements; }

void File::assertPathElementIsValid(const WString& element) {
    if (const WChar* fault = norq_std_internal::pathElementFault(element))
        throw NorqIllegalArgumentException(fault);
}

void File::assertPathIsValid(const PathList& list) {
    std::size_t sum = 0;
    for (const WString& element : list) {
        sum += element.size() + 1;
        assertLengthIsValid(sum);
        if (!isRoot(element) && element != u".." && element != u".")
            assertPathElementIsValid(element);
    }
}

bool File::isRoot(const WString& element) {
    return element == u"\\\\" || (element.size() == 3 && WideChar::isAsciiAlpha(element[0]) && element[1] == u':' &&
                                  element[2] == pathSeparator);
}

} // namespace norq_std
