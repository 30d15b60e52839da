#pragma once

#include "platform/Export.h"
#include "platform/List.h"
#include "trace/MemoryDebugging.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace ContactMgr
{

// Names one contact across all stores: a namespace, a hyphen, and a local part. The namespace is
// the type of the store that owns the contact and holds no hyphen; the local part is all that
// stands behind the first hyphen. A value; copying and making one may throw std::bad_alloc.
class CONTACTMGR_API CContactId : public CTracedAllocation
{
public:
    // Empty text, number 0, not numeric.
    CContactId() = default;

    // "%s-%d": a number above 2147483647 shows as a negative decimal and reads back as itself. A
    // null namespace counts as empty.
    CContactId(const char* ns, std::uint32_t number);

    // Reads the local part as a decimal number as strtoul does at 32 bits: white space and a sign
    // in front are taken, what is too large saturates at 4294967295, and the identifier is numeric
    // if the number ends the text. A null text counts as empty. A text converts by itself, so that
    // it can be handed in wherever an identifier is asked for.
    CContactId(const char* text);
    CContactId(std::string text);

    bool IsNumeric() const { return m_isNumeric; }
    // The number that the local part begins with, also where it is not numeric; else 0.
    std::uint32_t ToNumber() const { return m_number; }
    const std::string& ToString() const { return m_text; }
    // Empty for a text without a hyphen.
    std::string Namespace() const;
    bool SamePlugin(const CContactId& other) const;

    // Compares the texts, with case: "VCARDPAB-05" and "VCARDPAB-5" differ.
    bool operator==(const CContactId& other) const { return m_text == other.m_text; }

private:
    void ReadNumber();
    std::string_view NamespaceView() const;

    std::string m_text;
    std::uint32_t m_number = 0;
    bool m_isNumeric = false;
};

// An ordered list of identifiers. A value; adding and copying may throw std::bad_alloc.
class CONTACTMGR_API CContactIdList : public CList<CContactId>, public CTracedAllocation
{};

} // namespace ContactMgr
