#pragma once

#include "core/ContactId.h"
#include "core/ContactProperties.h"
#include "platform/Export.h"
#include "platform/List.h"
#include "platform/Types.h"
#include "text/Rfc822Address.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

// An e-mail address of a contact. The type mask of a new entry is 0; its maker sets it. The setters
// always give true. Copying may throw std::bad_alloc. A value, like the three entry classes below.
class CONTACTMGR_API CContactEmail : public CTracedAllocation
{
public:
    static constexpr std::uint32_t kInternet = 1;
    static constexpr std::uint32_t kX400 = 2;
    static constexpr std::uint32_t kPref = 4;

    CContactEmail() = default;
    CContactEmail(const CContactEmail&) = default;
    CContactEmail(CContactEmail&&) noexcept = default;
    CContactEmail& operator=(const CContactEmail&) = default;
    CContactEmail& operator=(CContactEmail&&) noexcept = default;
    virtual ~CContactEmail() = default;

    std::uint32_t GetType() const { return m_type; }
    bool SetType(std::uint32_t type) { return m_type = type, true; }
    const CRfc822Address& GetAddress() const { return m_address; }
    CRfc822Address& GetAddress() { return m_address; }
    bool SetAddress(CRfc822Address address) { return m_address = std::move(address), true; }

private:
    std::uint32_t m_type = 0;
    CRfc822Address m_address;
};

// A telephone number: the bytes that the store has, UTF-8 as a rule.
class CONTACTMGR_API CContactTel : public CTracedAllocation
{
public:
    static constexpr std::uint32_t kHome = 1;
    static constexpr std::uint32_t kWork = 2;
    static constexpr std::uint32_t kPref = 4;
    static constexpr std::uint32_t kVoice = 8;
    static constexpr std::uint32_t kFax = 16;
    static constexpr std::uint32_t kMsg = 32;
    static constexpr std::uint32_t kCell = 64;
    static constexpr std::uint32_t kPager = 128;
    static constexpr std::uint32_t kCar = 256;
    static constexpr std::uint32_t kIsdn = 512;
    static constexpr std::uint32_t kBbs = 1024;
    static constexpr std::uint32_t kModem = 2048;
    static constexpr std::uint32_t kPcs = 4096;
    static constexpr std::uint32_t kVideo = 8192;
    static constexpr std::uint32_t kTdd = 16384;
    static constexpr std::uint32_t kSwitchboard = 32768;
    static constexpr std::uint32_t kCallback = 65536;
    static constexpr std::uint32_t kRadio = 131072;
    static constexpr std::uint32_t kTelex = 262144;

    CContactTel() = default;
    CContactTel(const CContactTel&) = default;
    CContactTel(CContactTel&&) noexcept = default;
    CContactTel& operator=(const CContactTel&) = default;
    CContactTel& operator=(CContactTel&&) noexcept = default;
    virtual ~CContactTel() = default;

    std::uint32_t GetType() const { return m_type; }
    bool SetType(std::uint32_t type) { return m_type = type, true; }
    const std::string& GetNumber() const { return m_number; }
    bool SetNumber(std::string number) { return m_number = std::move(number), true; }

private:
    std::uint32_t m_type = 0;
    std::string m_number;
};

// A postal address, in the seven components of a vCard ADR line (RFC 2426, 3.2.1).
class CONTACTMGR_API CContactAddr : public CTracedAllocation
{
public:
    static constexpr std::uint32_t kDom = 1;
    static constexpr std::uint32_t kIntl = 2;
    static constexpr std::uint32_t kPostal = 4;
    static constexpr std::uint32_t kParcel = 8;
    static constexpr std::uint32_t kHome = 16;
    static constexpr std::uint32_t kWork = 32;
    static constexpr std::uint32_t kPref = 64;

    CContactAddr() = default;
    CContactAddr(const CContactAddr&) = default;
    CContactAddr(CContactAddr&&) noexcept = default;
    CContactAddr& operator=(const CContactAddr&) = default;
    CContactAddr& operator=(CContactAddr&&) noexcept = default;
    virtual ~CContactAddr() = default;

    std::uint32_t GetType() const { return m_type; }
    bool SetType(std::uint32_t type) { return m_type = type, true; }

    const std::u16string& GetPostOfficeBox() const { return m_postOfficeBox; }
    const std::u16string& GetExtendedAddress() const { return m_extendedAddress; }
    const std::u16string& GetStreet() const { return m_street; }
    const std::u16string& GetLocality() const { return m_locality; }
    const std::u16string& GetRegion() const { return m_region; }
    const std::u16string& GetPostalCode() const { return m_postalCode; }
    const std::u16string& GetCountry() const { return m_country; }

    bool SetPostOfficeBox(std::u16string text) { return m_postOfficeBox = std::move(text), true; }
    bool SetExtendedAddress(std::u16string text)
    {
        return m_extendedAddress = std::move(text), true;
    }
    bool SetStreet(std::u16string text) { return m_street = std::move(text), true; }
    bool SetLocality(std::u16string text) { return m_locality = std::move(text), true; }
    bool SetRegion(std::u16string text) { return m_region = std::move(text), true; }
    bool SetPostalCode(std::u16string text) { return m_postalCode = std::move(text), true; }
    bool SetCountry(std::u16string text) { return m_country = std::move(text), true; }

private:
    std::uint32_t m_type = 0;
    std::u16string m_postOfficeBox;
    std::u16string m_extendedAddress;
    std::u16string m_street;
    std::u16string m_locality;
    std::u16string m_region;
    std::u16string m_postalCode;
    std::u16string m_country;
};

// An instant messaging address, as a rule a URI (RFC 4770).
class CONTACTMGR_API CContactIM : public CTracedAllocation
{
public:
    static constexpr std::uint32_t kPersonal = 1;
    static constexpr std::uint32_t kBusiness = 2;
    static constexpr std::uint32_t kHome = 4;
    static constexpr std::uint32_t kWork = 8;
    static constexpr std::uint32_t kMobile = 16;
    static constexpr std::uint32_t kPref = 32;

    CContactIM() = default;
    CContactIM(const CContactIM&) = default;
    CContactIM(CContactIM&&) noexcept = default;
    CContactIM& operator=(const CContactIM&) = default;
    CContactIM& operator=(CContactIM&&) noexcept = default;
    virtual ~CContactIM() = default;

    std::uint32_t GetType() const { return m_type; }
    bool SetType(std::uint32_t type) { return m_type = type, true; }
    const std::u16string& GetAddress() const { return m_address; }
    bool SetAddress(std::u16string address) { return m_address = std::move(address), true; }

private:
    std::uint32_t m_type = 0;
    std::u16string m_address;
};

// The lists of a contact. An empty list has no head: ask IsEmpty before GetHead. Adding and copying
// may throw std::bad_alloc.
class CONTACTMGR_API CContactEmailList : public CList<CContactEmail>, public CTracedAllocation
{};

class CONTACTMGR_API CContactTelList : public CList<CContactTel>, public CTracedAllocation
{};

class CONTACTMGR_API CContactAddrList : public CList<CContactAddr>, public CTracedAllocation
{};

class CONTACTMGR_API CContactIMList : public CList<CContactIM>, public CTracedAllocation
{};

// One contact of any store: two names, four lists, and named properties for the rest. A resource,
// destroyed through its destructor; used by one thread at a time.
//
// A false result leaves its reason in the last error. In all operations that is
// ERROR_NOT_SUPPORTED (50) where the store does not have the operation, ERROR_NOT_ENOUGH_MEMORY (8)
// where memory is exhausted, and ERROR_INVALID_PARAMETER (87) for a null output. "No code" below
// means that the last error stays as it was: whoever needs to know sets it to 0 before the call.
//
// Destroying a changed contact saves it, and nobody learns whether that succeeded: call Save first.
class CONTACTMGR_API CContact : public CTracedAllocation
{
public:
    CContact(const CContact&) = delete;
    CContact& operator=(const CContact&) = delete;
    virtual ~CContact() = default;

    // Writes the record to its store, if a setter has changed it. After false it is still changed
    // and can be saved again. Last error ERROR_NOT_SUPPORTED (50): a read-only contact;
    // ERROR_INVALID_DATA (13): the text of an entry is no UTF-16; else of the file, such as
    // ERROR_DISK_FULL (112).
    virtual bool Save();
    virtual ContactMgr::CContactId GetId() = 0;
    // Whether the store takes changes. The list setters of a read-only contact change the object in
    // memory all the same, and Save refuses.
    virtual bool IsReadOnly() { return true; }
    // The type of the contact's store: the namespace of its identifier.
    virtual std::string GetPluginType() = 0;
    // When the contact was last written, in UTC; zero where the store keeps no time.
    virtual bool GetModifiedTime(FILETIME* time) = 0;

    // The lists stay the contact's. A list may be changed through its reference, but that alone is
    // not saved: hand the list to its setter, which marks the contact as changed. A setter replaces
    // all entries by copies; the argument may be the contact's own list.
    virtual CContactEmailList& GetEmails() { return m_emails; }
    virtual bool SetEmails(const CContactEmailList& emails);
    virtual CContactAddrList& GetAddresses() { return m_addresses; }
    virtual bool SetAddresses(const CContactAddrList& addresses);
    virtual CContactTelList& GetTelephones() { return m_telephones; }
    virtual bool SetTelephones(const CContactTelList& telephones);
    virtual CContactIMList& GetIMs() { return m_ims; }
    virtual bool SetIMs(const CContactIMList& ims);

    // The given name and the family name. A getter with a null output, and a setter of a mailbox or
    // of an older web client's contact, give false with no code; a setter of a sender gives
    // ERROR_NOT_SUPPORTED (50). The setters of the address book refuse what SetProperty refuses.
    virtual bool GetFirstName(std::u16string* name);
    virtual bool SetFirstName(const std::u16string& name) = 0;
    virtual bool GetLastName(std::u16string* name);
    virtual bool SetLastName(const std::u16string& name) = 0;

    // Whether the contact can have a property of that name. The address book says true for every
    // name, also for one that it does not know.
    virtual bool SupportsProperty(const CContactProperty& property);

    // A property that has no value is true and an empty text. A name that the store does not know
    // is false: with no code in the address book and in the older web client's store, with
    // ERROR_NOT_SUPPORTED (50) for a sender, with ERROR_NOT_FOUND (1168) for a mailbox. As a number
    // the address book has "WssVersion", and a mailbox what its property files hold as a number;
    // truth values are a mailbox's alone.
    virtual bool GetProperty(const CContactProperty& property, std::u16string* value) = 0;
    virtual bool GetProperty(const CContactProperty& property, std::uint32_t* value) = 0;
    virtual bool GetProperty(const CContactProperty& property, bool* value) = 0;

    // An empty value removes the property. Text is UTF-16, with a line feed where a line ends. Last
    // error ERROR_INVALID_DATA (13), and the old value stays: a carriage return, a zero character,
    // an unpaired surrogate, and in a part of the name a line feed. No code: an unknown name. A
    // contact of the address book counts as changed after a refusal too.
    // Numbers and truth values are not supported by any store.
    virtual bool SetProperty(const CContactProperty& property, std::u16string value);
    virtual bool SetProperty(const CContactProperty& property, std::uint32_t value);
    virtual bool SetProperty(const CContactProperty& property, bool value);

    // A literal is text; null is ERROR_INVALID_PARAMETER (87). Without these two a pointer would
    // count as a truth value. A signed number does not compile; write 5u. A derived class that
    // replaces one form brings the others in by `using CContact::SetProperty`.
    bool SetProperty(const CContactProperty& property, const char16_t* value);
    bool SetProperty(const CContactProperty& property, const void* value) = delete;

    // The contact as vCard 3.0 text (RFC 2426) with CR LF, for contacts of the address book. *text
    // is written on success only. Last error ERROR_INVALID_DATA (13): the text of an entry is no
    // UTF-16.
    virtual bool ToString(std::u16string* text) = 0;

    // Replaces the record by that of one vCard in UTF-8; Save writes it. Its FN line becomes the
    // comment of every e-mail address. Lines that are no content lines are dropped. Last error
    // ERROR_INVALID_DATA (13): no BEGIN:VCARD and END:VCARD around it, ERROR_FILE_TOO_LARGE (223):
    // more than 64 MiB or 2,000,000 lines; the record is then unchanged. ERROR_INVALID_PARAMETER
    // (87): a VERSION other than 3.0 or a PROFILE other than VCARD; the record then holds what the
    // text brought, and is not to be used until another text is given to it.
    virtual bool FromString(const std::string& text);

protected:
    CContact() = default;

    std::u16string m_firstName;
    std::u16string m_lastName;
    CContactAddrList m_addresses;
    CContactEmailList m_emails;
    CContactTelList m_telephones;
    CContactIMList m_ims;
};
