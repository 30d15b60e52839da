#include "fuzz/Fuzz.h"
#include "text/Rfc822Address.h"
#include "text/SenderReader.h"
#include "text/Utf8.h"

#include <algorithm>
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
    const std::string header = address.EncodedComment();
    FuzzCheck(std::all_of(header.begin(), header.end(), [](char c) { return c >= 0; }) &&
                  header.empty() != address.HasComment(),
              "the header's form of a comment is ASCII");
    const std::string encoded =
        header + " <" + address.EncodedName() + "@" + address.EncodedDomain() + ">";
    FuzzCheck(again.Parse(encoded.c_str()) && raw == again.RawAddress() &&
                  comment == again.GetComment(),
              "the header's form reads as the same address and comment");
}

} // namespace

// Every form of an address that was read reads back the same, alone, in a list and as a sender.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(FuzzText(data, size));
    CRfc822Address address;
    CRfc822AddressList list;
    const bool isAddress = address.Parse(text.c_str());
    const bool isList = list.Parse(text.c_str());
    CRfc822Address sender;
    const bool isSender = ReadSender(text.c_str(), &sender);
    if (isSender) {
        CheckForms(sender);
    }
    if (isAddress) {
        CheckForms(address);
        FuzzCheck(isSender && std::string_view(sender.RawAddress()) == address.RawAddress(),
                  "an address is the same as a sender");
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
    // A comment that is set stands on one line of an address, without its control characters.
    std::u16string comment;
    if (Utf8ToWide(text, &comment) && address.Parse("\"a b\\\"@\"@[192.0.2.7]") &&
        std::none_of(comment.begin(), comment.end(),
                     [](char16_t c) { return (c < u' ' && c != u'\t') || c == u'\x7F'; })) {
        FuzzCheck(address.SetComment(comment.c_str()), "any text is a comment");
        CheckForms(address);
    }
    return 0;
}
