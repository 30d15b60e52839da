#include "intake/MessageSender.h"

#include "base/Session.h"
#include "base/StdioFile.h"
#include "mailheader/MailHeaderContact.h"
#include "platform/Ascii.h"
#include "platform/Errno.h"
#include "platform/LastError.h"
#include "server/MessageHeader.h"
#include "text/SenderReader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

namespace
{

constexpr std::size_t kMaxHeaderBytes = 1 << 20;

// Of a longer text only the beginning is kept.
bool ReadStream(std::FILE* stream, std::string* text)
{
    std::array<char, 16 << 10> piece;
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), stream)) {
        text->append(piece.data(), std::min(count, kMaxHeaderBytes - text->size()));
    }
    return std::ferror(stream) == 0 || FailWithErrno();
}

bool ReadText(const std::string& path, std::string* text)
{
    if (path == "-") {
        return ReadStream(stdin, text);
    }
    const CFile file(std::fopen(path.c_str(), "rbe"));
    return file == nullptr ? FailWithErrno() : ReadStream(file.get(), text);
}

bool FindField(std::string_view text, const char* name, std::string* value)
{
    CHeaderField field;
    if (FindHeaderField(text, true, name, &field) != EHeaderSearch::Found) {
        return false;
    }
    *value = HeaderValueToUtf8(field.value);
    return true;
}

bool NamesSeveral(const std::string& field)
{
    CRfc822AddressList addresses;
    if (!addresses.Parse(field.c_str()) || addresses.IsEmpty()) {
        return false;
    }
    POSITION position = addresses.GetHeadPosition();
    addresses.GetNext(position);
    return position != nullptr;
}

// False: `fault` says why there is none.
bool FindSender(std::string_view message, CRfc822Address* sender, std::string* fault)
{
    std::string field;
    const bool hasFrom = FindField(message, "From", &field);
    if (hasFrom && ReadSender(field.c_str(), sender)) {
        return true;
    }
    const bool namesSeveral = hasFrom && NamesSeveral(field);
    if (hasFrom && !namesSeveral) {
        *fault = "no single mail address in its From field '" + field + "'";
        return false;
    }
    *fault = namesSeveral ? "its From field names several people, and no Sender field says which"
                          : "no From field in it";
    return FindField(message, "Sender", &field) && ReadSender(field.c_str(), sender);
}

} // namespace

std::unique_ptr<CContact> ReadMessageSender(const std::string& path, CSession& session)
{
    const std::string what = "sender of " + (path == "-" ? "standard input" : path);
    std::string text;
    if (!ReadText(path, &text)) {
        session.Report().Failure(what);
        return nullptr;
    }
    const std::size_t begin = std::min(text.find_first_not_of("\r\n"), text.size());
    CRfc822Address sender;
    std::string fault;
    if (!FindSender(std::string_view(text).substr(begin), &sender, &fault)) {
        session.Report().Refusal(what, fault);
        return nullptr;
    }
    std::u16string name = sender.GetComment();
    std::ranges::replace(name, u';', u',');
    sender.SetComment(name.c_str());
    return std::make_unique<CMailHeaderContact>(std::move(sender));
}

std::string FindAddressOf(CContact& sender, CSession& session)
{
    std::vector<std::string> ids;
    if (!session.ListAddressBook(&ids)) {
        return "";
    }
    const std::string_view address = sender.GetEmails().GetHead().GetAddress().RawAddress();
    for (const std::string& id : ids) {
        const std::unique_ptr<CContact> contact = session.OpenListed("look into", id);
        const auto isSame = [address](const CContactEmail& email) {
            return EqualIgnoringCase(std::string_view(email.GetAddress().RawAddress()), address);
        };
        if (contact != nullptr && std::ranges::any_of(contact->GetEmails(), isSame)) {
            return id;
        }
    }
    return "";
}
