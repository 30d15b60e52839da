#include "cards/CardContent.h"

#include "cards/Digest.h"
#include "directory/AddressContentLine.h"
#include "directory/EmailContentLine.h"
#include "directory/IMContentLine.h"
#include "directory/TelephoneContentLine.h"
#include "platform/Ascii.h"

#include <algorithm>
#include <array>
#include <map>

namespace
{

constexpr std::array<std::string_view, 6> kRewritten = {
    "REV", "PRODID", "UID", "VERSION", "X-LARKMERE-WSSVERSION", "X-LARKMERE-WSSREPLICATIONID"};

bool IsRewritten(const CVCardLine& line)
{
    return std::ranges::find(kRewritten, line.name) != kRewritten.end();
}

// The line as the entry's own would be written.
template <class Line>
std::string EntryText(const std::string& parameters, const CVCardLine& line)
{
    std::string text;
    Line::Append(Line::Read({parameters, line.value}), &text);
    return text;
}

// Parameters as a content line has them, ending with ":"; empty without any.
std::string ParametersText(const CVCardLine& line)
{
    std::string text = WriteVCardLine(CVCardLine{{}, "X", line.parameters, {}});
    text.erase(0, 1);
    text.erase(0, text.front() == ';' ? 1 : 0);
    return text == ":" ? std::string() : text;
}

// An e-mail address gets the name of its contact as its comment when a card comes in, so that
// parameter says nothing.
CVCardLine WithoutComment(CVCardLine line)
{
    std::erase_if(line.parameters,
                  [](const auto& parameter) { return parameter.first == "X-COMMENT"; });
    return line;
}

bool IsEntry(const CVCardLine& line)
{
    return line.name == "EMAIL" || line.name == "TEL" || line.name == "ADR" || line.name == "IMPP";
}

std::string LineContent(const CVCardLine& line)
{
    using namespace VCardUtils;
    const std::string parameters = ParametersText(line);
    if (line.name == "EMAIL") {
        const CVCardLine bare = WithoutComment(line);
        CContactEmail email = CEmailContentLine::Read({ParametersText(bare), line.value});
        std::string text = email.GetAddress().RawAddress();
        AppendTypeMask(CEmailContentLine::kTypes, email.GetType(), &text);
        return "EMAIL:" + text;
    }
    if (line.name == "TEL") {
        return EntryText<CTelephoneContentLine>(parameters, line);
    }
    if (line.name == "ADR") {
        return EntryText<CAddressContentLine>(parameters, line);
    }
    if (line.name == "IMPP") {
        return EntryText<CIMContentLine>(parameters, line);
    }
    CVCardLine sorted = line;
    std::ranges::sort(sorted.parameters);
    sorted.value.erase(sorted.value.find_last_not_of(" \t\r\n\v\f") + 1); // as an export does
    return WriteVCardLine(sorted);
}

} // namespace

std::string ContentOf(const CVCard& card)
{
    std::vector<std::string> lines;
    for (const CVCardLine& line : card) {
        if (!IsRewritten(line)) {
            lines.push_back(LineContent(line));
        }
    }
    std::ranges::sort(lines);
    std::string content;
    for (const std::string& line : lines) {
        content.append(line).append(1, '\n');
    }
    return content;
}

std::string ContentDigest(const CVCard& card)
{
    return DigestOf(ContentOf(card));
}

bool IsGroupCard(const CVCard& card)
{
    return std::ranges::any_of(card, [](const CVCardLine& line) {
        return (line.name == "KIND" || line.name == "X-ADDRESSBOOKSERVER-KIND") &&
               EqualIgnoringCase(line.value, "group");
    });
}

CVCard WithLinesOf(const CVCard& old, CVCard card)
{
    std::multimap<std::string, const CVCardLine*> known;
    for (const CVCardLine& line : old) {
        if (IsEntry(line)) {
            known.emplace(LineContent(line), &line);
        }
    }
    for (CVCardLine& line : card) {
        const auto found = IsEntry(line) ? known.find(LineContent(line)) : known.end();
        if (found != known.end()) {
            line = *found->second;
            known.erase(found);
        }
    }
    return card;
}
