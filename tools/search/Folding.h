#pragma once

#include <string>
#include <string_view>
#include <vector>

// A text without what a search passes over: case, accents, the form of composition; ß is ss, ø is
// o, ł is l. In `expanded` ä, ö and ü are ae, oe and ue, in `plain` a, o and u. `expanded` is empty
// if it is the same as `plain`. UTF-8. A value.
struct CFoldedText
{
    std::string plain;
    std::string expanded;

    bool operator==(const CFoldedText&) const = default;
};

// A view of one.
struct CFoldedView
{
    CFoldedView() = default;
    CFoldedView(std::string_view first, std::string_view second) : plain(first), expanded(second) {}
    CFoldedView(const CFoldedText& text) : plain(text.plain), expanded(text.expanded) {}

    std::string_view plain;
    std::string_view expanded;
};

// Bytes that are no UTF-8 count as U+FFFD.
CFoldedText FoldText(std::string_view utf8);

// The version of the rules by which texts are folded: two programs with the same version fold
// alike.
std::string FoldingVersion();

// The digits of a telephone number alone: it is found however its parts are divided.
std::string DigitsOf(std::string_view number);

// How well a text has the words that are looked for; a better one is greater.
enum class EMatch
{
    kNone,
    kWithin,     // some word only in the middle of a word of the text
    kAtBeginning // each word at the beginning of a word of the text
};

// Words that are all looked for, in any order. They are found in each other's folded form: muller
// and mueller find Müller, müller finds Mueller. A value.
class CSearchWords
{
public:
    // Each text may hold several words, divided by white space. No word at all is found everywhere.
    explicit CSearchWords(const std::vector<std::string>& texts);

    bool IsEmpty() const { return m_words.empty(); }

    // Each word is found in one of the two texts. What only the second one has counts as found in
    // the middle.
    EMatch Match(const CFoldedView& first, const CFoldedView& second = {}) const;

private:
    struct CWord
    {
        CFoldedText text;
        std::string digits; // of a word that can be a part of a telephone number
    };

    EMatch MatchWord(const CWord& word, const CFoldedView& first, const CFoldedView& second) const;

    std::vector<CWord> m_words;
};
