#include "fuzz/ContactText.h"
#include "fuzz/Fuzz.h"
#include "platform/LastError.h"
#include "support/TempFolder.h"

// A contact file that does not open stays as it is. One that opens is after a rewrite the same but
// for its revision and its write counter.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const CTempFolder folder;
    constexpr const char* kFile = "80000000.vcf";
    const std::string_view content = FuzzText(data, size);
    folder.Write(kFile, content);

    std::string before;
    for (int rewrite = 0; rewrite < 2; ++rewrite) {
        CPABContact contact;
        if (!contact.Open(folder.Path().c_str(), 1)) {
            FuzzCheck(rewrite == 0, "a saved contact opens");
            FuzzCheck(folder.Read(kFile) == content, "a refused file stays");
            return 0;
        }
        const std::string text = TextOf(contact);
        FuzzCheck(rewrite == 0 || text == before, "a saved contact is the same");
        before = text;
        FuzzCheck(contact.SetEmails(contact.GetEmails()) && contact.Save(), "it saves");
    }
    return 0;
}
