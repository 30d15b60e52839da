#pragma once

#include "core/ContactId.h"
#include "core/ContactProperties.h"
#include "platform/List.h"
#include "platform/Types.h"
#include "text/Rfc822Address.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

// An e-mail address of a contact. The type mask of an entry has no meaning until it is set; the
// setters always give true. A value, like the three entry classes below.
class CContactEmail : public CTracedAllocation
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

// A telephone number: the bytes that the store has, UTF-8 where they are not ASCII.
class CContactTel : public CTracedAllocation
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
class CContactAddr : public CTracedAllocation
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

// An instant messaging address, a URI as a rule (RFC 4770).
class CContactIM : public CTracedAllocation
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

class CContactEmailList : public CList<CContactEmail>, public CTracedAllocation
{};

class CContactTelList : public CList<CContactTel>, public CTracedAllocation
{};

class CContactAddrList : public CList<CContactAddr>, public CTracedAllocation
{};

class CContactIMList : public CList<CContactIM>, public CTracedAllocation
{};

// One contact of any store: two names, four typed lists, and named properties for the rest. Holds
// the names and the lists itself. A false result leaves its reason in the last error, except where
// "no code" is said; 50 means that the store does not have the operation, 8 exhausted memory. A
// resource, destroyed through its destructor; used by one thread at a time.
class CContact : public CTracedAllocation
{
public:
    CContact(const CContact&) = delete;
    CContact& operator=(const CContact&) = delete;
    virtual ~CContact() = default;

    // Writes the changes of the record to its store.
    virtual bool Save();
    virtual ContactMgr::CContactId GetId() = 0;
    // Says what the store can do; the setters of a read-only contact still change the object in
    // memory, and Save refuses.
    virtual bool IsReadOnly() { return true; }
    virtual std::string GetPluginType() = 0;
    // Zero where the store keeps no time.
    virtual bool GetModifiedTime(FILETIME* time) = 0;

    // The lists stay the contact's. Setting one replaces all its entries by copies; the argument
    // may be the contact's own list.
    virtual CContactEmailList& GetEmails() { return m_emails; }
    virtual bool SetEmails(const CContactEmailList& emails);
    virtual CContactAddrList& GetAddresses() { return m_addresses; }
    virtual bool SetAddresses(const CContactAddrList& addresses);
    virtual CContactTelList& GetTelephones() { return m_telephones; }
    virtual bool SetTelephones(const CContactTelList& telephones);
    virtual CContactIMList& GetIMs() { return m_ims; }
    virtual bool SetIMs(const CContactIMList& ims);

    // A null output is false with no code.
    virtual bool GetFirstName(std::u16string* name);
    virtual bool SetFirstName(const std::u16string& name) = 0;
    virtual bool GetLastName(std::u16string* name);
    virtual bool SetLastName(const std::u16string& name) = 0;

    virtual bool SupportsProperty(const CContactProperty& property);
    virtual bool GetProperty(const CContactProperty& property, std::u16string* value) = 0;
    virtual bool GetProperty(const CContactProperty& property, std::uint32_t* value) = 0;
    virtual bool GetProperty(const CContactProperty& property, bool* value) = 0;
    virtual bool SetProperty(const CContactProperty& property, std::u16string value);
    virtual bool SetProperty(const CContactProperty& property, std::uint32_t value);
    virtual bool SetProperty(const CContactProperty& property, bool value);

    // A literal is text. Without these a pointer would count as a truth value. A signed number does
    // not compile; write 5u. Derived classes that replace one form bring all of them in by
    // `using CContact::SetProperty`. A null pointer is 87.
    bool SetProperty(const CContactProperty& property, const char16_t* value);
    bool SetProperty(const CContactProperty& property, const void* value) = delete;

    // The contact as vCard text, and its replacement by such a text in UTF-8.
    virtual bool ToString(std::u16string* text) = 0;
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
