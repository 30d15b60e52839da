#include "intake/ImportCard.h"

#include "intake/CsvReader.h"
#include "intake/JsonSource.h"
#include "intake/LdifReader.h"
#include "intake/VCardSource.h"
#include "text/Charset.h"
#include "text/Utf8.h"

#include <algorithm>

namespace
{

// The parts of a note, up to a number of them.
std::string Join(const std::vector<std::string>& parts)
{
    constexpr std::size_t kMaxParts = 12;
    std::string text;
    for (std::size_t i = 0; i < std::min(parts.size(), kMaxParts); ++i) {
        text.append(i == 0 ? "" : ", ").append(parts[i]);
    }
    if (parts.size() > kMaxParts) {
        text += " and more";
    }
    return text;
}

std::string LeftOutText(const std::vector<std::string>& lines)
{
    constexpr std::size_t kShownBytes = 40;
    return "left out " + std::to_string(lines.size()) + (lines.size() == 1 ? " line" : " lines") +
           " that cannot be read, the first: " + lines.front().substr(0, kShownBytes);
}

} // namespace

void CImportCard::AddOnce(std::string text, std::vector<std::string>* texts)
{
    constexpr std::size_t kMaxTexts = 100;
    if (texts->size() < kMaxTexts && std::ranges::find(*texts, text) == texts->end()) {
        texts->push_back(std::move(text));
    }
}

std::string CImportCard::Note() const
{
    std::vector<std::string> parts;
    if (!changes.empty()) {
        parts.push_back(Join(changes));
    }
    if (!losses.empty()) {
        parts.push_back("not kept: " + Join(losses));
    }
    if (!leftOut.empty()) {
        parts.push_back(LeftOutText(leftOut));
    }
    std::string note;
    for (const std::string& part : parts) {
        note.append(note.empty() ? "" : "; ").append(part);
    }
    return note;
}

std::string DecodeUnknown(std::string text, CImportCard* card)
{
    if (IsUtf8(text)) {
        return text;
    }
    const std::string charset = card->charset.empty() ? "windows-1252" : card->charset;
    card->AddChange("text taken as " + charset);
    return DecodeCharset(text, charset.c_str());
}

// A further form goes here: a function that knows its beginning, and its reader.
std::unique_ptr<CCardSource> OpenCards(CInputText& input)
{
    const std::string_view head = input.Rest();
    if (CVCardSource::IsBeginning(head)) {
        return std::make_unique<CVCardSource>(input);
    }
    if (CJsonSource::IsBeginning(head)) {
        return std::make_unique<CJsonSource>(input);
    }
    if (CLdifReader::IsBeginning(head)) {
        return std::make_unique<CLdifReader>(input);
    }
    if (CCsvReader::IsBeginning(head)) {
        return std::make_unique<CCsvReader>(input);
    }
    return std::make_unique<CVCardSource>(input);
}
