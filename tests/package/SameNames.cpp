// A program whose own functions and classes have the names of internal ones of the library. Each of
// them ends the program: neither library may call one.
//
// Usage: SameNames LOCATION NAME DOMAIN

#include "core/ContactMgr.h"
#include "platform/LastError.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

[[noreturn]] int Taken(const char* name)
{
    std::fprintf(stderr, "The library called %s of the program\n", name);
    std::abort();
}

bool IsBlank(char)
{
    return Taken(__func__) != 0;
}
bool IsAscii(std::string_view)
{
    return Taken(__func__) != 0;
}
bool IsUtf8(std::string_view)
{
    return Taken(__func__) != 0;
}
std::string Unquote(std::string_view)
{
    Taken(__func__);
}
int MoveFileA(const char*, const char*)
{
    return Taken(__func__);
}
int DeleteFileA(const char*)
{
    return Taken(__func__);
}
int CloseHandle(HANDLE)
{
    return Taken(__func__);
}
std::uint32_t ReverseBits(std::uint32_t) noexcept
{
    Taken(__func__);
}
std::int32_t ToNumber(std::string_view)
{
    return Taken(__func__);
}
int ReadFile(HANDLE, void*, std::uint32_t, std::uint32_t*, void*)
{
    return Taken(__func__);
}

// Each has the internal class's own members, with the same signatures.
class CDescriptor
{
public:
    ~CDescriptor();
    bool Close() noexcept;
};
CDescriptor::~CDescriptor()
{
    Taken("CDescriptor");
}
bool CDescriptor::Close() noexcept
{
    return Taken("CDescriptor") != 0;
}

class COpenFile
{
public:
    virtual ~COpenFile();
    bool Open(const char* path, int flags) noexcept;
    virtual bool Write(std::string_view bytes);
};
COpenFile::~COpenFile()
{
    Taken("COpenFile");
}
bool COpenFile::Open(const char*, int) noexcept
{
    return Taken("COpenFile") != 0;
}
bool COpenFile::Write(std::string_view)
{
    return Taken("COpenFile") != 0;
}

class CHeldFile : public COpenFile
{
public:
    bool Write(std::string_view bytes) override;
    bool Create();
};
bool CHeldFile::Write(std::string_view)
{
    return Taken("CHeldFile") != 0;
}
bool CHeldFile::Create()
{
    return Taken("CHeldFile") != 0;
}

class CSystemCalls
{
public:
    virtual ~CSystemCalls();
    virtual int Close(int file);
};
CSystemCalls::~CSystemCalls()
{
    Taken("CSystemCalls");
}
int CSystemCalls::Close(int)
{
    return Taken("CSystemCalls");
}

class CPABContact : public CContact
{
public:
    CPABContact();
    ~CPABContact() override;
    bool Save() override;
};
CPABContact::CPABContact()
{
    Taken("CPABContact");
}
CPABContact::~CPABContact()
{
    Taken("CPABContact");
}
bool CPABContact::Save()
{
    return Taken("CPABContact") != 0;
}

class CCardLines
{
public:
    CCardLines(CCardLines&&) noexcept;
    std::size_t GetCount() const;
};
CCardLines::CCardLines(CCardLines&&) noexcept
{
    Taken("CCardLines");
}
std::size_t CCardLines::GetCount() const
{
    Taken("CCardLines");
}

class CTextLines
{
public:
    explicit CTextLines(std::string text);
};
CTextLines::CTextLines(std::string)
{
    Taken("CTextLines");
}

class CMailFolder
{
public:
    CMailFolder();
    ~CMailFolder();
};
CMailFolder::CMailFolder()
{
    Taken("CMailFolder");
}
CMailFolder::~CMailFolder()
{
    Taken("CMailFolder");
}

class CMessage
{
public:
    CMessage();
    virtual ~CMessage();
};
CMessage::CMessage()
{
    Taken("CMessage");
}
CMessage::~CMessage()
{
    Taken("CMessage");
}

class CAddressBook
{
public:
    explicit CAddressBook(std::string folder);
    const std::string& Folder() const;
};
CAddressBook::CAddressBook(std::string)
{
    Taken("CAddressBook");
}
const std::string& CAddressBook::Folder() const
{
    Taken("CAddressBook");
}

namespace
{

bool SaveContact(CContactMgr& manager, ContactMgr::CContactId* id)
{
    const std::unique_ptr<CContact> contact(manager.CreateContact(nullptr));
    CContactEmailList emails;
    CContactEmail email;
    if (!contact || !email.GetAddress().Parse("\"Lee, Ann\" <ann@example.com>")) {
        return false;
    }
    emails.AddTail(email);
    *id = contact->GetId();
    return contact->SetProperty("FullName", u"Ann Lee") && contact->SetEmails(emails) &&
           contact->Save();
}

bool PrintContact(CContactMgr& manager, const ContactMgr::CContactId& id)
{
    CContact* opened = nullptr;
    std::u16string card;
    if (!manager.OpenContact(id, &opened)) {
        return false;
    }
    const std::unique_ptr<CContact> contact(opened);
    if (!contact->ToString(&card) || card.find(u"FN:Ann Lee\r\n") == std::u16string::npos) {
        return false;
    }
    std::printf("%s %s\n", id.ToString().c_str(),
                contact->GetEmails().GetHead().GetAddress().RawFullAddress());
    return true;
}

bool PrintChanges(CContactMgr& manager)
{
    FILETIME version = {};
    ContactMgr::CContactIdList deleted;
    ContactMgr::CContactIdList changed;
    ContactMgr::CContactIdList created;
    if (!manager.ChangesSince("VCARDPAB", {}, &version, &deleted, &changed, &created)) {
        return false;
    }
    std::printf("%zu created\n", created.GetCount());
    return true;
}

// The sender of a message too, so that the mail store is read.
bool PrintWalk(CContactMgr& manager)
{
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk(manager.GetEnumerator());
    if (!walk || !walk->Start(nullptr, nullptr)) {
        return false;
    }
    while (walk->MoveNext()) {
        std::printf("%s\n", walk->GetCurrent()->GetId().ToString().c_str());
    }
    return walk->GetFaults().empty();
}

} // namespace

int main(int count, char** arguments)
{
    CMailServer server;
    CMailbox mailbox;
    if (count != 4 || !server.Open(arguments[1]) ||
        !mailbox.Open(server, arguments[2], arguments[3])) {
        return 2;
    }
    CContactMgr manager(mailbox);
    ContactMgr::CContactId id;
    if (!SaveContact(manager, &id) || !PrintContact(manager, id) || !PrintChanges(manager) ||
        !PrintWalk(manager) || !manager.DeleteContact(id)) {
        std::fprintf(stderr, "%s\n", LastErrorText(GetLastError()));
        return 1;
    }
    return 0;
}
