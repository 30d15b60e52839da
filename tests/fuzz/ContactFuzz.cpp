#include "directory/TextLines.h"
#include "fuzz/Fuzz.h"
#include "pab/PABContact.h"
#include "platform/LastError.h"
#include "support/ContentLines.h"
#include "support/TempFolder.h"
#include "text/Utf8.h"

#include <algorithm>
#include <string>

namespace
{

// The contact's text without the two lines that every save renews. A contact with a line name that
// is no UTF-8 has none.
std::string TextOf(CPABContact& contact)
{
    std::u16string wide;
    if (!contact.ToString(&wide)) {
        FuzzCheck(GetLastError() == ERROR_INVALID_DATA, "only bytes that are no UTF-8 are refused");
        return {};
    }
    std::string text;
    FuzzCheck(WideToUtf8(wide, &text), "an exported text is good UTF-16");
    std::string kept;
    const CTextLines lines(text);
    for (const std::string_view line : lines.Lines()) {
        CParsedLine parsed;
        parsed.Parse(line);
        if (parsed.name != "REV" && parsed.name != "X-LARKMERE-WSSVERSION") {
            kept.append(line).append("\r\n");
        }
    }
    return kept;
}

// The contact's text after a save, of which nothing or everything was asked for before. A contact
// file that does not open stays as it is.
std::string SavedText(const CTempFolder& folder, std::string_view content, bool isAsked)
{
    constexpr const char* kFile = "80000000.vcf";
    const std::string& path = folder.Path();
    folder.Write(kFile, content);
    std::string before;
    {
        CPABContact contact;
        if (!contact.Open(path.c_str(), 1)) {
            FuzzCheck(folder.Read(kFile) == content, "a refused file stays");
            return {};
        }
        if (isAsked) {
            before = TextOf(contact);
            contact.SetEmails(contact.GetEmails());
        }
        contact.SetProperty("Unknown", u""); // it counts as changed
        FuzzCheck(contact.Save(), "it saves");
    }
    CPABContact saved;
    FuzzCheck(saved.Open(path.c_str(), 1), "a saved contact opens");
    const std::string text = TextOf(saved);
    FuzzCheck(!isAsked || text == before, "a saved contact is the same");
    return text;
}

// A save writes the same whatever was asked for before.
void CheckFile(std::string_view content)
{
    static const CTempFolder folder;
    FuzzCheck(SavedText(folder, content, false) == SavedText(folder, content, true),
              "what was asked for is not in the file");
}

// An export trims its lines, so a name that begins with white space comes back as another name.
bool HasOddName(const std::string& text)
{
    const CTextLines lines(text);
    return std::ranges::any_of(lines.Lines(), [](std::string_view line) {
        const std::size_t name = std::min(line.find_first_not_of(".;:"), line.size());
        return line.substr(name).find_first_of(" \t\v\f") == 0;
    });
}

// A text that was imported exports, and its export imports as the same contact.
void CheckExchange(const std::string& text)
{
    CPABContact first;
    SetLastError(ERROR_SUCCESS);
    if (HasOddName(text) || !first.FromString(text)) {
        FuzzCheck(GetLastError() == ERROR_SUCCESS || GetLastError() == ERROR_INVALID_DATA ||
                      GetLastError() == ERROR_INVALID_PARAMETER,
                  "a refusal has one of its codes");
        return;
    }
    const std::string exported = TextOf(first);
    if (exported.empty()) {
        return;
    }
    CPABContact second;
    FuzzCheck(second.FromString(exported), "an export imports");
    const std::string again = TextOf(second);
    FuzzCheck(second.FromString(again) && TextOf(second) == again, "it stays the same");
    FuzzCheck(first.GetEmails().GetCount() == second.GetEmails().GetCount() &&
                  first.GetTelephones().GetCount() == second.GetTelephones().GetCount() &&
                  first.GetAddresses().GetCount() == second.GetAddresses().GetCount() &&
                  first.GetIMs().GetCount() == second.GetIMs().GetCount(),
              "no entry is lost");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CheckFile(FuzzText(data, size));
    CheckExchange(std::string(FuzzText(data, size)));
    return 0;
}
