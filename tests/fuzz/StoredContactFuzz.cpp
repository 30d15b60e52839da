#include "fuzz/Fuzz.h"
#include "server/Message.h"
#include "server/MessageHeader.h"
#include "text/Utf8.h"
#include "trellisv7/TrellisV7Contact.h"

#include <string>

namespace
{

// A message of the text alone, without a store behind it.
class CTextMessage : public CMessageImpl
{
public:
    explicit CTextMessage(std::string text) : m_text(std::move(text)) {}
    const char* GetBodySegment(std::uint32_t, std::uint32_t) const override { return nullptr; }
    std::uint32_t GetSize() const override { return static_cast<std::uint32_t>(m_text.size()); }

protected:
    bool LoadMessageStructure() override
    {
        const std::string_view text = m_text;
        const std::size_t header = HeaderSectionLength(text);
        SetMessageStructure(std::make_unique<_tMessageStructure>(
            _tMessageStructure{{text.substr(0, header), text.substr(header)}}));
        return true;
    }

private:
    const std::string m_text;
};

constexpr const char* kFields[][2] = {
    {"NICK", "Nickname"},      {"NAME", "FullName"}, {"TITLE", "Title"}, {"JOBTITLE", "Jobtitle"},
    {"BNAME", "Organization"}, {"BDEPT", "OrgUnit"}, {"URL", "URL"},     {"NOTES", "Comment"},
};

// The texts as the body of a plain message.
std::string BodyOf(CTrellisV7Contact& contact)
{
    std::string body = "\n";
    for (const auto& [key, property] : kFields) {
        std::u16string value;
        std::string text;
        FuzzCheck(contact.GetProperty(property, &value), "a loaded contact has its texts");
        FuzzCheck(WideToUtf8(value, &text), "they are good UTF-16");
        body.append(key).append(1, ':').append(text).append(1, '\n');
    }
    return body;
}

} // namespace

// A stored message that loads gives texts that load again as the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CTextMessage message{std::string(FuzzText(data, size))};
    CTrellisV7Contact contact(message, "1", FILETIME(), "alice", "example.org");
    if (!contact.Load()) {
        return 0;
    }
    for (const CContactEmail& email : contact.GetEmails()) {
        FuzzCheck(email.GetAddress().HasDomain(), "an entry has an address");
    }
    const std::string body = BodyOf(contact);
    CTextMessage plain("Content-Type: text/plain; charset=utf-8\n" + body);
    CTrellisV7Contact again(plain, "1", FILETIME(), "alice", "example.org");
    FuzzCheck(again.Load() && BodyOf(again) == body, "the texts load as the same");
    return 0;
}
