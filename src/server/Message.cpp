#include "server/Message.h"

#include "platform/Failure.h"
#include "server/MessageHeader.h"
#include "server/TextBody.h"
#include "text/EncodedWords.h"
#include "text/Utf8.h"
#include "text/Utf8String.h"

#include <algorithm>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

bool IsControl(char16_t unit)
{
    return (unit < u' ' && unit != u'\t') || unit == u'\x7F';
}

// ASCII that no reader trims or takes for an encoded word.
bool CanStandAsItIs(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t";
    return IsAscii(text) && text.find("=?") == std::string_view::npos &&
           (text.empty() || (kBlanks.find(text.front()) == std::string_view::npos &&
                             kBlanks.find(text.back()) == std::string_view::npos));
}

// Where to break a line that is too long: at the last blank within that length, but behind the
// given position, or else at the first blank behind it. npos without one.
std::size_t FindBreak(const std::string& line, std::size_t from, std::size_t maxLength)
{
    const std::size_t last = line.find_last_of(" \t", maxLength);
    return last != std::string::npos && last > from ? last : line.find_first_of(" \t", from + 1);
}

} // namespace

bool CMailHeader::Create(const char* field)
{
    if (field == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    CHeaderField parts;
    if (!SplitHeaderField(field, &parts)) {
        return Fail(ERROR_INVALID_DATA);
    }
    Assign(parts.name, parts.value);
    return true;
}

void CMailHeader::Assign(std::string_view name, std::string_view value)
{
    std::string raw = HeaderValueToUtf8(value);
    std::u16string decoded = Utf8ToWideLossy(DecodeEncodedWords(raw));
    m_name = name;
    m_value = std::move(decoded);
    m_rawValue = std::move(raw);
}

bool CMailHeader::SetValue(const char16_t* value)
{
    if (value == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    std::u16string wide(value);
    if (std::ranges::any_of(wide, IsControl)) {
        return Fail(ERROR_INVALID_DATA);
    }
    std::string text;
    if (!WideToUtf8(wide, &text)) {
        return false;
    }
    m_rawValue = CanStandAsItIs(text) ? text : EncodeWords(text);
    m_value = std::move(wide);
    return true;
}

bool CMailHeader::Write(std::string* text, std::uint32_t maxLineLength) const
{
    if (text == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    std::string line = m_name + ": " + m_rawValue;
    std::string folded;
    std::size_t from = m_name.size() + 1;
    while (maxLineLength != 0 && line.size() > maxLineLength) {
        const std::size_t end = FindBreak(line, from, maxLineLength);
        if (end == std::string::npos) {
            break;
        }
        folded += line.substr(0, end) + "\r\n";
        line.erase(0, end);
        from = line.find_first_not_of(" \t");
    }
    *text += folded + line + "\r\n";
    return true;
}

CBodyPart::CBodyPart(const _tBodyPartStructure* structure) : m_structure(structure) {}
CBodyPart::~CBodyPart() = default;

const CMailHeader* CBodyPart::GetHeader(std::string name) const
{
    const auto known = m_headers.find(name);
    if (known != m_headers.end()) {
        return &known->second;
    }
    CHeaderField field;
    if (FindHeaderField(m_structure->header, true, name, &field) != EHeaderSearch::Found) {
        return Fail(ERROR_NOT_FOUND);
    }
    CMailHeader header;
    header.Assign(field.name, field.value);
    return &m_headers.emplace(std::move(name), std::move(header)).first->second;
}

bool CBodyPart::GetTextBody(const CUtf8String*& text) const
{
    if (m_text == nullptr) {
        std::string decoded;
        if (!DecodeTextBody(*m_structure, &decoded)) {
            return Fail(ERROR_INVALID_DATA);
        }
        m_text = std::make_unique<const CUtf8String>(std::move(decoded));
    }
    text = m_text.get();
    return true;
}

CBodyPart* CBodyPartStructureMap::GetPart(const _tBodyPartStructure* structure)
{
    CBodyPart*& part = m_parts[structure];
    if (part == nullptr) {
        part = Make<CBodyPart>(structure).release();
    }
    return part;
}

void CBodyPartStructureMap::RemoveAll() noexcept
{
    for (const auto& [structure, part] : m_parts) {
        delete part;
    }
    m_parts.clear();
}

CMessageImpl::CMessageImpl() = default;
CMessageImpl::~CMessageImpl() = default;

CBodyPart* CMessageImpl::GetRootBodyPart()
{
    if (m_structure == nullptr && !LoadMessageStructure()) {
        return nullptr;
    }
    return CreateBodyPart(m_structure.get());
}

CBodyPart* CMessageImpl::CreateBodyPart(_tMessageStructure* structure)
{
    return structure == nullptr ? nullptr : CreateBodyPart(&structure->root, nullptr);
}

CBodyPart* CMessageImpl::CreateBodyPart(_tBodyPartStructure* structure, CBodyPart* /*parent*/)
{
    return structure == nullptr ? nullptr : m_parts.GetPart(structure);
}

void CMessageImpl::SetMessageStructure(std::unique_ptr<_tMessageStructure> structure) noexcept
{
    m_parts.RemoveAll();
    m_structure = std::move(structure);
}

} // namespace contactmgr_internal
