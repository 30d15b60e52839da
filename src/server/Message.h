#pragma once

#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

class CUtf8String;

inline namespace contactmgr_internal
{

// Where a part's header section and its content lie in the text of the message.
struct _tBodyPartStructure
{
    std::string_view header;
    std::string_view content;
};

// The root part alone. The parts of a multipart are text of its content.
struct _tMessageStructure
{
    _tBodyPartStructure root;
};

// One header field (RFC 5322 section 2.2). A value.
class CMailHeader
{
public:
    CMailHeader() = default;
    CMailHeader(const CMailHeader&) = default;
    CMailHeader& operator=(const CMailHeader&) = default;
    virtual ~CMailHeader() = default;

    // Takes one field as it stands in a message, "Name: value", folded or not. The value is
    // unfolded, trimmed and decoded (RFC 2047). Last error
    // ERROR_INVALID_DATA (13): no field; ERROR_INVALID_PARAMETER (87): null.
    virtual bool Create(const char* field);

    // Replaces the value; non-ASCII text is written as encoded words. Last error
    // ERROR_INVALID_PARAMETER (87): null; ERROR_INVALID_DATA (13): an unpaired surrogate or a
    // control character other than the tab.
    virtual bool SetValue(const char16_t* value);

    // Appends the field to the text, ended by CR LF. Folds it at blanks into lines of at most that
    // many bytes; a longer word stays whole, and 0 does not fold. Last error
    // ERROR_INVALID_PARAMETER (87): null.
    virtual bool Write(std::string* text, std::uint32_t maxLineLength) const;

    const char* GetName() const { return m_name.c_str(); }
    const char16_t* GetValue() const { return m_value.c_str(); }

private:
    friend class CBodyPart;

    void Assign(std::string_view name, std::string_view value);

    std::string m_name;
    std::u16string m_value;
    std::string m_rawValue;
};

// One part of a message. It reads the message's text and lives no longer than the message.
class CBodyPart : public CTracedAllocation
{
public:
    explicit CBodyPart(const _tBodyPartStructure* structure);
    CBodyPart(const CBodyPart&) = delete;
    CBodyPart& operator=(const CBodyPart&) = delete;
    virtual ~CBodyPart();

    // The first header field of that name, compared without regard to ASCII case. Owned by the
    // part. Null without one, last error ERROR_NOT_FOUND (1168).
    const CMailHeader* GetHeader(std::string name) const;

    // The text in UTF-8, owned by the part, its transfer encoding (RFC 2045 section 6) and charset
    // decoded. What does not decode becomes U+FFFD or is left out. Text without a known charset is
    // taken as UTF-8 if it is valid UTF-8, else as Latin-1. A part without Content-Type is text.
    // False with last error ERROR_INVALID_DATA (13): a part of another kind, such as multipart.
    bool GetTextBody(const CUtf8String*& text) const;

private:
    const _tBodyPartStructure* m_structure;
    mutable std::map<std::string, CMailHeader> m_headers; // by the name asked for
    mutable std::unique_ptr<const CUtf8String> m_text;
};

// The parts that a message has given out, by their place in it. Owns them.
class CBodyPartStructureMap
{
public:
    CBodyPartStructureMap() = default;
    CBodyPartStructureMap(const CBodyPartStructureMap&) = delete;
    CBodyPartStructureMap& operator=(const CBodyPartStructureMap&) = delete;
    ~CBodyPartStructureMap() { RemoveAll(); }

    // The part at that place, made at the first call.
    CBodyPart* GetPart(const _tBodyPartStructure* structure);
    void RemoveAll() noexcept;

private:
    std::unordered_map<const _tBodyPartStructure*, CBodyPart*> m_parts;
};

// A parsed message. A resource, used by one thread at a time.
class CMessage
{
public:
    CMessage() = default;
    CMessage(const CMessage&) = delete;
    CMessage& operator=(const CMessage&) = delete;
    virtual ~CMessage() = default;

    // The root part, owned by the message. Null if the message has no readable structure.
    virtual CBodyPart* GetRootBodyPart() = 0;

    // The part for the root of a structure, or for one part of it below another (null for the
    // root). Owned by the message, and the same object each time.
    virtual CBodyPart* CreateBodyPart(_tMessageStructure* structure) = 0;
    virtual CBodyPart* CreateBodyPart(_tBodyPartStructure* structure, CBodyPart* parent) = 0;

    // Bytes of the stored text from an offset on, not ended by a zero; valid while the message is
    // open. Null with last error ERROR_INVALID_PARAMETER (87): offset and length reach behind the
    // end.
    virtual const char* GetBodySegment(std::uint32_t offset, std::uint32_t length) const = 0;

    // The length of the stored text in bytes.
    virtual std::uint32_t GetSize() const = 0;
};

class CMessageImpl : public CMessage
{
public:
    CMessageImpl();
    ~CMessageImpl() override;

    CBodyPart* GetRootBodyPart() override;
    CBodyPart* CreateBodyPart(_tMessageStructure* structure) override;
    CBodyPart* CreateBodyPart(_tBodyPartStructure* structure, CBodyPart* parent) override;

protected:
    // Calls SetMessageStructure, or gives false with the reason in the last error.
    virtual bool LoadMessageStructure() = 0;

    // Replaces the structure and destroys the parts that were given out. Null: none yet.
    void SetMessageStructure(std::unique_ptr<_tMessageStructure> structure) noexcept;

private:
    CBodyPartStructureMap m_parts;
    std::unique_ptr<_tMessageStructure> m_structure;
};

} // namespace contactmgr_internal
