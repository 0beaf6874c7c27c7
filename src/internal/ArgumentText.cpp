#include "internal/ArgumentText.h"

#include "exception/NorqException.h"

#include <utility>

namespace norq_std_internal {

using norq_std::NorqIllegalArgumentException;
using norq_std::WChar;
using norq_std::WString;

namespace {

constexpr std::u16string_view Separators = u" \t\n";
constexpr std::u16string_view EscapedInQuotes = u"\"\\$`";

class ArgumentReader {
public:
    explicit ArgumentReader(std::u16string_view argumentText)
        : text(argumentText) {}

    std::vector<WString> read() {
        while (at < text.size()) {
            const WChar unit = text[at++];
            if (Separators.find(unit) != Separators.npos)
                endWord();
            else if (unit == u'\'')
                readSingleQuotes();
            else if (unit == u'"')
                readDoubleQuotes();
            else if (unit == u'\\')
                readEscape();
            else
                append(unit);
        }
        endWord();
        return std::move(words);
    }

private:
    void append(WChar unit) {
        word += unit;
        inWord = true;
    }

    void endWord() {
        if (std::exchange(inWord, false))
            words.push_back(std::exchange(word, {}));
    }

    WChar next(const WChar* whatIsMissing) {
        if (at == text.size())
            throw NorqIllegalArgumentException(WString(u"Arguments end within ") + whatIsMissing + u": " +
                                               WString(text));
        return text[at++];
    }

    void readEscape() {
        const WChar unit = next(u"an escape");
        if (unit != u'\n')
            append(unit);
    }

    void readSingleQuotes() {
        inWord = true;
        for (WChar unit; (unit = next(u"single quotes")) != u'\'';)
            word += unit;
    }

    void readDoubleQuotes() {
        inWord = true;
        for (WChar unit; (unit = next(u"double quotes")) != u'"';) {
            if (unit != u'\\') {
                word += unit;
                continue;
            }
            unit = next(u"double quotes");
            if (unit == u'\n')
                continue;
            if (EscapedInQuotes.find(unit) == EscapedInQuotes.npos)
                word += u'\\';
            word += unit;
        }
    }

    const std::u16string_view text;
    std::size_t at = 0;
    std::vector<WString> words;
    WString word;
    bool inWord = false; // a pair of quotes makes a word, even an empty one
};

} // namespace

std::vector<WString> splitArguments(std::u16string_view text) { return ArgumentReader(text).read(); }

} // namespace norq_std_internal
