#pragma once

#include "base/SWString.h"

#include <cstdio>
#include <memory>

namespace norq_std_internal {

/// A C stream with the small buffer of the older functions.
class SmallStream {
public:
    explicit SmallStream(std::FILE* openStream);
    ~SmallStream() { close(); }
    SmallStream(const SmallStream&) = delete;
    SmallStream& operator=(const SmallStream&) = delete;

    std::FILE* get() const { return stream; }
    bool isOpen() const { return stream != nullptr; }
    /// False if anything went wrong since it was opened.
    bool close();

private:
    char buffer[512];
    std::FILE* stream;
};

/// Reads a section file line by line.
class SectionReader {
public:
    explicit SectionReader(const NorqStd::SWString& path);

    bool isOpen() const { return stream.isOpen(); }
    /// The next line without its trailing white space; false behind the last one.
    bool next(NorqStd::SWString& line);
    /// Goes on behind the first head of this section; false if there is none.
    bool find(const NorqStd::SWString& section);
    /// Whether reading ended for another reason than the end of the file.
    bool failed() const { return std::ferror(stream.get()) != 0; }

    static bool isHead(const NorqStd::SWString& line) { return line.starts_with(u'[') && line.ends_with(u']'); }
    static NorqStd::SWString headOf(const NorqStd::SWString& section) { return u'[' + section + u']'; }

private:
    SmallStream stream;
};

/// What becomes of one section when its file is written anew.
class SectionEdit {
public:
    virtual ~SectionEdit() = default;

    /// Whether the line stays, perhaps changed.
    virtual bool keeps(NorqStd::SWString& line) = 0;
    virtual bool keepsHead() const { return true; }
    /// Whether there is nothing to do without a file.
    virtual bool needsFile() const { return false; }
    /// A line for the end of the section, which is made if it is missing; null for none.
    virtual const NorqStd::SWString* addition() const { return nullptr; }
};

/// Writes the file anew beside the old one and puts it in its place. False, with the old file unchanged, if that fails.
bool rewriteSection(const NorqStd::SWString& path, const NorqStd::SWString& section, SectionEdit& edit);

} // namespace norq_std_internal
