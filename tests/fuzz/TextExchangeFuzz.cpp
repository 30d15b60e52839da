#include "fuzz/ContactText.h"
#include "fuzz/Fuzz.h"

#include <algorithm>

namespace
{

// An export trims its lines, so a name that begins with white space comes back as another name.
bool HasOddName(std::string_view text)
{
    const CTextLines lines{std::string(text)};
    return std::any_of(lines.Lines().begin(), lines.Lines().end(), [](std::string_view line) {
        const std::size_t name = std::min(line.find_first_not_of(".;:"), line.size());
        return line.substr(name).find_first_of(" \t\v\f") == 0;
    });
}

} // namespace

// A text that was imported exports, and its export imports as the same contact.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(FuzzText(data, size));
    CPABContact first;
    SetLastError(ERROR_SUCCESS);
    if (HasOddName(text) || !first.FromString(text)) {
        FuzzCheck(GetLastError() == ERROR_SUCCESS || GetLastError() == ERROR_INVALID_DATA ||
                      GetLastError() == ERROR_INVALID_PARAMETER,
                  "a refusal has one of its codes");
        return 0;
    }
    const std::string exported = TextOf(first);
    if (exported.empty()) {
        return 0;
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
    return 0;
}
