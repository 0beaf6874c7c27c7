#include "prefs/PreferencesXmlWriter.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "internal/CloseAtEnd.h"
#include "internal/FileText.h"
#include "prefs/Preferences.h"
#include "stream/ByteArray.h"

#include <algorithm>
#include <vector>

namespace norq_std {

namespace {

constexpr std::u16string_view EMPTY_MAP = u"<map/>";
constexpr std::u16string_view NODE_END = u"</node>";

WString nodeBegin(const WString& name) { return u"<node name=\"" + name + u"\">"; }

using NodePath = std::vector<std::shared_ptr<Preferences>>;

/// From the root down to the node.
NodePath pathTo(const std::shared_ptr<Preferences>& node) {
    NodePath path;
    for (std::shared_ptr<Preferences> at = node; at != nullptr; at = at->parent())
        path.push_back(at);
    std::reverse(path.begin(), path.end());
    return path;
}

} // namespace

PreferencesXmlWriter::PreferencesXmlWriter(const std::shared_ptr<Preferences>& exportedNode,
                                           const WString& outputFilename)
    : node(exportedNode)
    , filename(outputFilename) {
    constexpr const WChar* function = u"norq_std::PreferencesXmlWriter::PreferencesXmlWriter";
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferencesXmlWriter::PreferencesXmlWriter");
    ErrorUtils::isNullEx(node, function, u"Preferences node");
    ErrorUtils::isEmptyEx(filename, function, u"Output filename");
    const File file(filename);
    if (!file.isRootDirectory())
        file.getAbsoluteFile().getParentFile().mkdirs();
    try {
        lockedFile.open(file, LockedFile::Overwrite, nullptr);
    } catch (const NorqInterruptedException&) { // the export opens it
    }
}

PreferencesXmlWriter::~PreferencesXmlWriter() = default;

WString PreferencesXmlWriter::toString() const {
    return u"PreferencesXmlWriter{node='" + node->toString() + u"', filename='" + filename + u"'}";
}

void PreferencesXmlWriter::writePrefs() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferencesXmlWriter::writePrefs");
    const AutoLock<Lock> guard(lock);
    writeTree = false;
    internalWritePrefs();
}

void PreferencesXmlWriter::writePrefsTree() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferencesXmlWriter::writePrefsTree");
    const AutoLock<Lock> guard(lock);
    writeTree = true;
    internalWritePrefs();
}

void PreferencesXmlWriter::internalWritePrefs() {
    const norq_std_internal::CloseAtEnd closing(lockedFile);
    try {
        if (!lockedFile.isOpen())
            lockedFile.open(File(filename), LockedFile::Overwrite, nullptr);
        writeLine(0, u"<?xml version=\"1.0\"?>");
        writeLine(0, u"<!DOCTYPE preferences SYSTEM 'http://java.sun.com/dtd/preferences.dtd'>");
        writePreferences();
    } catch (const NorqInterruptedException&) { // the file stays as far as it was written
    } catch (const NorqIllegalStateException& e) {
        const NorqIOException failure(u"Output file was closed before write.", e);
        failure.logDebug(u"norq_std::PreferencesXmlWriter::internalWritePrefs");
        throw NorqIOException(failure);
    }
}

void PreferencesXmlWriter::writePreferences() {
    const NodePath path = pathTo(node);
    writeLine(0, u"<preferences>");
    writeLine(1, node->isUserNode() ? u"<root type=\"user\">" : u"<root type=\"system\">");
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (i > 0)
            writeLine(i + 1, nodeBegin(path[i]->name()));
        if (i + 1 < path.size())
            writeLine(i + 2, EMPTY_MAP);
        else
            writeMap(*path[i], i + 2);
    }
    if (writeTree)
        writeNodes(path.size() + 1);
    for (std::size_t i = path.size() - 1; i > 0; --i)
        writeLine(i + 1, NODE_END);
    writeLine(1, u"</root>");
    writeLine(0, u"</preferences>");
}

/// All below the node, whose children stand at this level. A tree may be deeper than the stack, so it has its own.
void PreferencesXmlWriter::writeNodes(std::size_t level) {
    struct OpenNode {
        explicit OpenNode(const std::shared_ptr<Preferences>& opened)
            : node(opened)
            , children(opened->childrenNames()) {}
        std::shared_ptr<Preferences> node;
        std::vector<WString> children;
        std::size_t next = 0;
    };
    std::vector<OpenNode> open{OpenNode(node)};
    for (;;) {
        OpenNode& last = open.back();
        const std::size_t childLevel = level + open.size() - 1;
        if (last.next < last.children.size()) {
            const WString& name = last.children[last.next++];
            const std::shared_ptr<Preferences> child = last.node->node(name);
            writeLine(childLevel, nodeBegin(name));
            writeMap(*child, childLevel + 1);
            open.emplace_back(child);
            continue;
        }
        open.pop_back();
        if (open.empty())
            return;
        writeLine(childLevel - 1, NODE_END);
    }
}

void PreferencesXmlWriter::writeMap(const Preferences& from, std::size_t level) {
    const std::vector<WString> keys = from.keys();
    if (keys.empty()) {
        writeLine(level, EMPTY_MAP);
        return;
    }
    writeLine(level, u"<map>");
    for (const WString& key : keys)
        if (!key.empty())
            writeLine(level + 1, u"<entry key=\"" + key + u"\" value=\"" + from.get(key, WString()) + u"\"/>");
    writeLine(level, u"</map>");
}

void PreferencesXmlWriter::writeLine(std::size_t level, std::u16string_view text) {
    WString line(level, u'\t');
    line += text;
    line += File::lineSeparator;
    lockedFile.write(*norq_std_internal::encodeFile(std::move(line), u"UTF-8"));
}

} // namespace norq_std
