#include "base/StdioFile.h"
#include "fuzz/Fuzz.h"
#include "intake/ImportCard.h"
#include "pab/PABContact.h"
#include "platform/LastError.h"

#include <cstdio>
#include <string>

namespace
{

// A card of the store's form stays as it is when it is read again.
void CheckAgain(const CVCard& card)
{
    std::string text = WriteVCard(card);
    const CFile file(fmemopen(text.data(), text.size(), "rb"));
    CInputText input(file.get());
    CImportCard again;
    FuzzCheck(OpenCards(input)->Next(&again), "a card that was written is found");
    FuzzCheck(again.fault.empty() && again.leftOut.empty(), "it is whole");
    FuzzCheck(again.card == card, "it is the same card");
    CPABContact contact;
    SetLastError(ERROR_SUCCESS);
    FuzzCheck(contact.FromString(text) || GetLastError() == ERROR_INVALID_PARAMETER,
              "the store takes it, unless it has another PROFILE");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    std::string text(FuzzText(data, size));
    const CFile file(fmemopen(text.data(), text.size(), "rb"));
    CInputText input(file.get());
    const std::unique_ptr<CCardSource> source = OpenCards(input);
    CImportCard card;
    while (source->Next(&card)) {
        card.Note();
        if (card.fault.empty()) {
            CheckAgain(card.card);
        }
    }
    return 0;
}
