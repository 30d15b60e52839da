#pragma once

#include "core/Contact.h"

#include <cstdint>
#include <optional>
#include <string>

inline namespace contactmgr_internal
{

// What the contacts of the read-only stores have in common: they refuse to be changed, and have no
// vCard. A store adds what names the contact and what its properties are.
class CReadOnlyContact : public CContact
{
public:
    // The type, a hyphen and the local part. Empty without a local part, and with last error
    // ERROR_NOT_ENOUGH_MEMORY (8) where memory ends.
    ContactMgr::CContactId GetId() override;

    // Last error ERROR_INVALID_PARAMETER (87): null.
    bool GetModifiedTime(FILETIME* time) override;

    // False; the last error stays as it was.
    bool SetFirstName(const std::u16string& name) override;
    bool SetLastName(const std::u16string& name) override;

    // Last error ERROR_INVALID_PARAMETER (87): null; else as the store says. *value is written on
    // success only.
    bool GetProperty(const CContactProperty& property, std::u16string* value) override;

    // ERROR_NOT_SUPPORTED (50).
    bool GetProperty(const CContactProperty& property, std::uint32_t* value) override;
    bool GetProperty(const CContactProperty& property, bool* value) override;
    using CContact::SetProperty;
    bool ToString(std::u16string* text) override;

protected:
    // The time of the last change; zero where the store keeps none.
    explicit CReadOnlyContact(const FILETIME& modifiedTime = {}) : m_modifiedTime(modifiedTime) {}

private:
    // What the store answers. Both may throw std::bad_alloc. No local part: the contact has no
    // identifier. ReadProperty gives false with the reason in the last error.
    virtual std::optional<std::string> LocalPart() const = 0;
    virtual bool ReadProperty(const CContactProperty& property, std::u16string* value) = 0;

    const FILETIME m_modifiedTime;
};

} // namespace contactmgr_internal
