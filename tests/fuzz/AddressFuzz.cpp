#include "fuzz/Fuzz.h"
#include "server/Rfc822Address.h"

#include <string>

namespace
{

void CheckForms(const CRfc822Address& address)
{
    const std::string raw = address.RawAddress();
    const std::u16string comment = address.GetComment();
    CRfc822Address again;
    FuzzCheck(again.Parse(raw.c_str()) && raw == again.RawAddress() && !again.HasComment(),
              "RawAddress reads as the same address");
    FuzzCheck(again.Parse(address.RawFullAddress()) && raw == again.RawAddress() &&
                  comment == again.GetComment(),
              "RawFullAddress reads as the same address and comment");
    const std::string encoded = std::string(address.EncodedComment()) + " <" +
                                address.EncodedName() + "@" + address.EncodedDomain() + ">";
    FuzzCheck(again.Parse(encoded.c_str()) && raw == again.RawAddress() &&
                  comment == again.GetComment(),
              "the header's form reads as the same address and comment");
}

} // namespace

// Every form of an address that was read reads back the same, alone and in a list.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(FuzzText(data, size));
    CRfc822Address address;
    CRfc822AddressList list;
    const bool isAddress = address.Parse(text.c_str());
    const bool isList = list.Parse(text.c_str());
    if (isAddress) {
        CheckForms(address);
        POSITION position = list.GetHeadPosition();
        FuzzCheck(isList &&
                      list.GetNext(position).RawAddress() ==
                          std::string_view(address.RawAddress()) &&
                      position == nullptr,
                  "one address is a list of it");
    }
    for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
        CheckForms(list.GetNext(position));
    }
    if (address.SetName(text.c_str()) && address.SetDomain("example.org")) {
        CheckForms(address);
    }
    return 0;
}
