// A use of each public class. The reference takes its code from here: a piece stands between two
// marks of its name.
//
// Usage: Reference LOCATION NAME DOMAIN, such as /var/vmail carol example.org

#include "core/ContactMgr.h"
#include "core/ContactProperties.h"
#include "directory/ContentLine.h"
#include "platform/LastError.h"
#include "server/MailServer.h"
#include "server/MailStoreAdmin.h"
#include "server/Mailbox.h"
#include "text/Rfc822Address.h"
#include "text/Utf8String.h"
#include "trace/FunctionDebugging.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace
{

bool FillContact(CContact& contact)
{
    //! [entries]
    CContactEmail email;
    email.SetType(CContactEmail::kInternet | CContactEmail::kPref);
    if (!email.GetAddress().Parse("Ann Lee <ann@example.com>")) {
        return false;
    }
    CContactEmailList emails = contact.GetEmails();
    emails.AddTail(email);

    CContactTel telephone;
    telephone.SetType(CContactTel::kWork | CContactTel::kVoice);
    telephone.SetNumber("+1 555 0100");
    CContactTelList telephones = contact.GetTelephones();
    telephones.AddTail(telephone);
    return contact.SetEmails(emails) && contact.SetTelephones(telephones);
    //! [entries]
}

bool MakeContact(CContactMgr& manager, ContactMgr::CContactId* id)
{
    //! [CContact]
    const std::unique_ptr<CContact> contact(manager.CreateContact(nullptr));
    if (!contact || !contact->SetProperty("FullName", u"Ann Lee") || !FillContact(*contact) ||
        !contact->Save()) {
        return false; // GetLastError() has the reason
    }
    *id = contact->GetId();
    //! [CContact]
    return true;
}

bool ReadContact(CContactMgr& manager, const std::string& text)
{
    //! [CContactId]
    const ContactMgr::CContactId id(text); // such as "VCARDPAB-12"
    CContact* opened = nullptr;
    if (id.Namespace() != "VCARDPAB" || !manager.OpenContact(id, &opened)) {
        return false;
    }
    const std::unique_ptr<CContact> contact(opened); // held until its end
    std::u16string card;
    return contact->ToString(&card);
    //! [CContactId]
}

bool Walk(const CContactMgr& manager)
{
    //! [CContactEnumerator]
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk(manager.GetEnumerator());
    if (!walk || !walk->Start(nullptr, nullptr)) {
        return false;
    }
    while (walk->MoveNext()) {
        std::puts(walk->GetCurrent()->GetId().ToString().c_str());
    }
    return walk->GetFaults().empty(); // else something was not shown
    //! [CContactEnumerator]
}

bool PrintAddresses()
{
    //! [CRfc822AddressList]
    CRfc822AddressList list;
    if (!list.Parse("team: \"Lee, Ann\" <ann@example.com>, bob@example.com;")) {
        return false;
    }
    for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
        const CRfc822Address address = list.GetNext(position);
        std::puts(address.RawFullAddress());
    }
    //! [CRfc822AddressList]
    return true;
}

bool ReadLine()
{
    //! [CContentLine]
    std::string group;
    std::string name;
    DirectoryUtils::CParameters parameters;
    std::u16string value;
    if (!DirectoryUtils::CContentLine::Parse("TEL;TYPE=work:+1 555 0100", &group, &name,
                                             &parameters, &value)) {
        return false;
    }
    const DirectoryUtils::CContentLine line(group, name, parameters, value);
    CUtf8String text;
    return line.ToString(&text) && std::puts(text.c_str()) >= 0;
    //! [CContentLine]
}

bool ConvertText()
{
    //! [CUtf8String]
    CUtf8String text;
    std::u16string wide;
    return text.FromUnicode(u"J\u00f6rg") == 1 && text == "J\u00f6rg" && text.ToUnicode(&wide) == 1;
    //! [CUtf8String]
}

bool TraceOpening(CContactMgr& manager, const ContactMgr::CContactId& id)
{
    //! [CFunctionDebugging]
    CFunctionDebugging::SetSink([](std::string_view line) {
        std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    });
    CFunctionDebugging::TurnOn();
    const bool isThere = manager.OpenContact(id, nullptr);
    CFunctionDebugging::TurnOff();
    //! [CFunctionDebugging]
    return isThere;
}

bool SetUp(const char* location, const char* name, const char* domain)
{
    //! [MailStoreAdmin]
    CMailServer server;
    if (!server.Open(location)) {
        std::fputs(ExplainLocation(location, {}).c_str(), stderr);
        return false;
    }
    RegisterMailServerPropertyFamilies(); // their values are numbers
    const std::vector<CMailboxPropertySetting> settings = {{"EnabledContactPlugins", "9"}};
    return CreateMailbox(server, name, domain) &&
           SetMailboxProperties(server, name, domain, settings);
    //! [MailStoreAdmin]
}

bool Run(const char* location, const char* name, const char* domain)
{
    //! [CContactMgr]
    CMailServer server;
    CMailbox mailbox;
    if (!server.Open(location) || !mailbox.Open(server, name, domain)) {
        return false;
    }
    CContactMgr manager(mailbox); // the mailbox outlives it
    //! [CContactMgr]
    //! [CMailbox]
    std::uint32_t mask = 0;
    if (!mailbox.GetProperty("EnabledContactPlugins", &mask)) {
        return false;
    }
    //! [CMailbox]
    ContactMgr::CContactId id;
    return mask == 9 && MakeContact(manager, &id) && ReadContact(manager, id.ToString()) &&
           Walk(manager) && PrintAddresses() && ReadLine() && ConvertText() &&
           TraceOpening(manager, id);
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 4 || !SetUp(arguments[1], arguments[2], arguments[3]) ||
        !Run(arguments[1], arguments[2], arguments[3])) {
        //! [GetLastError]
        const std::uint32_t code = GetLastError();
        std::fprintf(stderr, "%s (%u)\n", LastErrorText(code), static_cast<unsigned>(code));
        //! [GetLastError]
        return 1;
    }
    return 0;
}
