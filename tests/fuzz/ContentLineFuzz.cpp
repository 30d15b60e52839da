#include "directory/ContentLineSyntax.h"
#include "directory/TextLines.h"
#include "fuzz/Fuzz.h"
#include "support/ContentLines.h"
#include "text/Utf8.h"

#include <algorithm>
#include <sstream>

namespace
{

// A carriage return in a parameter comes back as a line feed (RFC 6868 has no code for it).
std::u16string LineFeeds(const std::u16string& text)
{
    std::u16string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isReturn = text[at] == u'\r';
        result += isReturn ? u'\n' : text[at];
        at += isReturn && text.compare(at, 2, u"\r\n") == 0 ? 1 : 0;
    }
    return result;
}

bool SameParameters(const DirectoryUtils::CParameters& left,
                    const DirectoryUtils::CParameters& right)
{
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(), [](const auto& a, const auto& b) {
            return a.name == b.name &&
                   std::equal(a.values->begin(), a.values->end(), b.values->begin(),
                              b.values->end(),
                              [](const auto& x, const auto& y) { return LineFeeds(x) == y; });
        });
}

bool SameLine(const CParsedLine& left, const CParsedLine& right)
{
    return left.group == right.group && left.name == right.name && left.value == right.value &&
           SameParameters(left.parameters, right.parameters);
}

// The entry that is read from the text of its line, and written to it, is that of the line's class.
template <class Typed, class Entry>
void CheckEntry(const DirectoryUtils::CLineRest& rest, const CParsedLine& line,
                const Entry& (Typed::*get)() const)
{
    std::string text;
    const bool isWritten = line.name != Typed::kName || Typed::Append(Typed::Read(rest), &text);
    FuzzCheck(isWritten, "an entry that was read can be written");
    FuzzCheck(line.name != Typed::kName || text == LineText(Typed((line.As<Typed>().*get)())),
              "both ways to the entry agree");
}

void CheckText(std::string_view text, const CParsedLine& line)
{
    std::size_t position = 0;
    std::string_view group, name;
    DirectoryUtils::CLineRest rest;
    std::string rewritten;
    FuzzCheck(DirectoryUtils::TakeName(text, &position, &group, &name) &&
                  DirectoryUtils::TakeRest(text, position, &rest),
              "a line that was read can be taken apart");
    DirectoryUtils::AppendRewritten(text, &rewritten);
    FuzzCheck(rewritten == LineText(line.Line()), "it is rewritten as its class writes it");
    CheckEntry(rest, line, &VCardUtils::CAddressContentLine::GetAddress);
    CheckEntry(rest, line, &VCardUtils::CEmailContentLine::GetEmail);
    CheckEntry(rest, line, &VCardUtils::CIMContentLine::GetIM);
    CheckEntry(rest, line, &VCardUtils::CTelephoneContentLine::GetTelephone);
}

} // namespace

// A line that was read comes back the same from its written form, folded at any length or not.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = FuzzText(data, size);
    CParsedLine line;
    if (!line.Parse(text)) {
        return 0;
    }
    CParsedLine again;
    CUtf8String written;
    FuzzCheck(line.Line().ToString(&written), "a line that was read can be written");
    FuzzCheck(again.Parse(written) && SameLine(line, again), "the written line reads the same");

    std::string folded;
    const auto width = static_cast<std::uint32_t>(size % 100);
    FuzzCheck(line.Line().AppendFolded(&folded, width), "it can be folded");
    std::istringstream physicalLines(folded);
    for (std::string part; std::getline(physicalLines, part);) {
        FuzzCheck(part.ends_with('\r') && part != "\t\r" &&
                      part.size() - 1 <= std::max<std::size_t>(width, 5) &&
                      (IsUtf8(part) || !IsUtf8(text)),
                  "no physical line is empty or too long, and no character is cut");
    }
    const CTextLines lines(folded);
    FuzzCheck(lines.Lines().size() == 1, "a folded line is one line");
    FuzzCheck(text.find_first_of("\r\n") != text.npos ||
                  (again.Parse(lines.Lines()[0]) && SameLine(line, again)),
              "the folded line reads the same");

    CheckText(text, line);
    const CKeptLine kept = Keep(line);
    const CKeptLine keptAgain = Keep(kept.text);
    FuzzCheck(kept.mask == keptAgain.mask && kept.text == keptAgain.text,
              "what a typed line keeps, it keeps");
    return 0;
}
