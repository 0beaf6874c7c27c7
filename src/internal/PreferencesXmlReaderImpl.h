#pragma once

#include "internal/PreferencesXmlParser.h"
#include "prefs/XmlUtils.h"

#include <cstddef>
#include <memory>
#include <unordered_set>

namespace norq_std {
class NorqException;
class Preferences;
} // namespace norq_std

namespace norq_std_internal {

/// What a file costs the tree that it is read into. Throws `NorqXmlException` for too much, which no tree that was
/// exported comes to.
class ImportBudget {
public:
    struct Place {
        std::size_t depth = 0;
        std::size_t length = 0; // of the path
    };

    /// The place of a node with this name, which may be a path of several, below another.
    Place below(const Place& parent, const norq_std::WString& name);
    void enter(const norq_std::Preferences& node);
    /// Entries of the node that was entered last. The flush of each goes through all nodes below: these are none while
    /// every node comes once, before its children.
    void addEntries(std::size_t count);

private:
    std::size_t pathsLength = 0;
    std::size_t extraFlushes = 0;
    bool isPlain = true;
    std::unordered_set<const norq_std::Preferences*> entered;
};

/// Parser and document of a PreferencesXmlReader, and the steps from the document into the tree.
class PreferencesXmlReaderImpl {
public:
    explicit PreferencesXmlReaderImpl(const norq_std::WString& inputFilename);
    PreferencesXmlReaderImpl(const PreferencesXmlReaderImpl&) = delete;
    PreferencesXmlReaderImpl& operator=(const PreferencesXmlReaderImpl&) = delete;
    ~PreferencesXmlReaderImpl();

    /// Throws `NorqXmlException` for what the parser or the document's form refuses.
    void importText(const norq_std::WString& text);

    /// Throws `NorqInvalidPreferencesFormatException`, logged before, with what comes behind the file's name in its
    /// text.
    [[noreturn]] void fail(const norq_std::WString& rest) const;
    [[noreturn]] void fail(const norq_std::WString& rest, const norq_std::NorqException& cause) const;

private:
    void setupParser();
    void readDocument();
    void readMap(const xercesc::DOMNode& element, norq_std::Preferences& node);
    void readNodes(const xercesc::DOMNode& root, const std::shared_ptr<norq_std::Preferences>& rootNode);
    norq_std::WString getAttribute(const xercesc::DOMNode& element, const norq_std::WString& name) const;
    void addKeyValueToPreferences(norq_std::Preferences& node, const norq_std::WString& key,
                                  const norq_std::WString& value) const;
    /// Null if the parent was removed meanwhile.
    std::shared_ptr<norq_std::Preferences> addPreferencesNode(norq_std::Preferences& parent,
                                                              const norq_std::WString& name) const;

    const norq_std::WString& filename;
    const XmlSystemUse use;
    std::unique_ptr<PreferencesXmlParser> parser;
    const xercesc::DOMDocument* document = nullptr; // the parser's
    ImportBudget budget;                            // of the present import
};

} // namespace norq_std_internal
