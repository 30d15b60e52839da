#pragma once

#include "directory/ContentLineSyntax.h"
#include "platform/Ascii.h"
#include "platform/List.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline namespace contactmgr_internal
{

// The lines of a contact's card. A line is kept as the text that was read, and what it holds is
// decoded when somebody asks for it. So opening a contact costs one pass over its text, and a save
// copies what nobody has changed. A change of a line is a change of its text.
//
// A text that is no content line counts as no line. That too is found out when somebody looks at
// it.
//
// The lines of the four lists stand among the others until the list has been asked for. From then
// on its entries are the contact's, and the lines are dropped.
//
// Text is UTF-8. May throw std::bad_alloc; nothing has changed then. Nothing here sets a last
// error. A resource. Views of values are good until the line changes or the object goes; a move
// keeps them.
class CCardLines
{
public:
    // No card has more lines.
    static constexpr std::size_t kMaxLines = 2'000'000;

    CCardLines() = default;
    CCardLines(CCardLines&&) noexcept = default;
    CCardLines& operator=(CCardLines&&) noexcept = default;

    // Takes the text of a card, of less than 4 GB, and unfolds it. False, and no line is kept, if
    // it has too many.
    bool Assign(std::vector<char> text);

    std::size_t GetTextSize() const { return m_text.size(); }

    // Removes the first and the last line, if they are BEGIN:VCARD and END:VCARD, compared whole,
    // ASCII case ignored. Else false.
    bool RemoveEnvelope();

    // Finds the names of the lines that Assign took. To be called before all that follows.
    void FindNames();

    // The main value of the first line of that name, ASCII case ignored, as it stands in the text.
    std::optional<std::string_view> GetValue(std::string_view name);

    // Gives the first line of that name another main value. If there is none, a line with nothing
    // but name and value comes last.
    void SetValue(std::string_view name, std::string_view value);

    // Removes the first line of that name.
    void Remove(std::string_view name);

    // Whether all lines of that name have the value, ASCII case ignored.
    bool HaveValue(std::string_view name, std::string_view value);

    // Appends the entries of the lines of class Line, such as VCardUtils::CEmailContentLine.
    template <class Line, class Entry>
    void ReadEntries(CList<Entry>* entries)
    {
        for (CLine& line : m_lines) {
            if (line.entry == EntryOf(Line::kName) && IsGood(line)) {
                entries->AddTail(Line::Read({line.Parameters(), line.Value()}));
            }
        }
    }
    template <class Line>
    bool HasEntries() const
    {
        return m_entryCounts[EntryOf(Line::kName)] != 0;
    }
    template <class Line>
    void DropEntries() noexcept
    {
        constexpr std::size_t kEntry = EntryOf(Line::kName);
        std::erase_if(m_lines, [](const CLine& line) { return line.entry == kEntry; });
        m_entryCounts[kEntry] = 0;
    }

    // Calls the function with the text of each line that is in no list, neither folded nor with a
    // line end, until it gives false. The text is as CContentLine writes the line.
    template <class Function>
    bool ForEach(Function function)
    {
        std::string rewritten;
        return std::ranges::all_of(m_lines, [&](CLine& line) {
            return line.entry != kNoEntry || !IsGood(line) || function(TextOf(line, &rewritten));
        });
    }

private:
    // The lines whose entries make up the lists of a contact.
    static constexpr std::array<std::string_view, 4> kEntryNames = {"EMAIL", "TEL", "ADR", "IMPP"};

    enum class EState : std::uint8_t
    {
        kUnknown,
        kGood,
        kNoLine
    };
    struct CLine
    {
        std::string_view Name() const { return text.substr(nameBegin, restBegin - 1 - nameBegin); }
        // Of a good line.
        std::string_view Parameters() const
        {
            return text.substr(restBegin, valueBegin - restBegin);
        }
        std::string_view Value() const { return text.substr(valueBegin); }

        std::string_view text;                // of m_text or of `changed`
        std::unique_ptr<std::string> changed; // of a line that was set
        std::uint32_t nameBegin = 0;
        std::uint32_t restBegin = 0; // behind the name and its separator
        std::uint32_t valueBegin = 0;
        std::uint8_t entry = 0; // index of kEntryNames
        EState state = EState::kUnknown;
    };
    static constexpr std::uint8_t kNoEntry = kEntryNames.size();

    static constexpr std::uint8_t EntryOf(std::string_view name)
    {
        const auto found = std::ranges::find_if(
            kEntryNames, [name](std::string_view each) { return EqualIgnoringCase(each, name); });
        return static_cast<std::uint8_t>(found - kEntryNames.begin());
    }
    static bool TakeName(CLine* line);
    static bool IsGood(CLine& line);
    static std::string_view TextOf(const CLine& line, std::string* rewritten);
    static CLine MakeLine(std::string text);
    CLine* Find(std::string_view name);

    std::vector<char> m_text; // not a string: a move must leave the characters where they are
    std::vector<CLine> m_lines;
    std::array<std::size_t, kEntryNames.size()> m_entryCounts = {};
};

} // namespace contactmgr_internal
