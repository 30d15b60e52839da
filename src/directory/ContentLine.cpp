#include "directory/ContentLine.h"

#include "directory/ContentLineSyntax.h"
#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "platform/FileContent.h"

#include <algorithm>
#include <limits>
#include <new>

namespace DirectoryUtils
{
namespace
{

// One tag for all records: it names their place to a debugger.
constexpr char kTag[] = "CParameterValues";

// With more entries than this, names are looked up in the index. Real lines have one to three
// parameters.
constexpr std::size_t kMaxWalked = 16;

// Callers hold a position in a line as an int.
constexpr std::size_t kMaxLine = std::numeric_limits<int>::max() - 1;

} // namespace

void* CRecordAllocation::operator new(std::size_t size) noexcept
{
    return CMemoryDebugging::TraceAllocate(size, kTag, 0);
}

void* CRecordAllocation::operator new(std::size_t size, const char* file, std::uint32_t line,
                                      CDummy) noexcept
{
    return CMemoryDebugging::TraceAllocate(size, file, line);
}

void CRecordAllocation::operator delete(void* memory) noexcept
{
    CMemoryDebugging::TraceDeallocate(memory);
}

void CRecordAllocation::operator delete(void* memory, const char*, std::uint32_t, CDummy) noexcept
{
    CMemoryDebugging::TraceDeallocate(memory);
}

CParameters::CParameters(const CParameters& other) : m_index(other.m_index)
{
    m_entries.reserve(other.m_entries.size());
    for (const CEntry& entry : other) {
        m_entries.push_back({entry.name, Make<CParameterValues>(*entry.values)});
    }
}

CParameters& CParameters::operator=(CParameters other) noexcept
{
    m_entries.swap(other.m_entries);
    m_index.swap(other.m_index);
    return *this;
}

void CParameters::RemoveAll() noexcept
{
    m_entries.clear();
    m_index.clear();
}

bool CParameters::Lookup(std::string_view name, CParameterValues*& values) const
{
    const std::size_t index = IndexOf(name);
    if (index == m_entries.size()) {
        return false;
    }
    values = m_entries[index].values.get();
    return true;
}

bool CParameters::SetAt(std::string_view name, CParameterValues* values)
try {
    if (values == nullptr) {
        return false;
    }
    const std::size_t index = IndexOf(name);
    CEntry& entry = index < m_entries.size() ? m_entries[index] : AddEntry(std::string(name));
    // Not freed: a caller that looked the old values up may still hold them.
    (void)entry.values.release();
    entry.values.reset(values);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

CParameterValues* CParameters::FindOrAdd(std::string_view name)
try {
    return &FindOrAddValues(this, std::string(name));
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CParameters::Extract(std::string_view line, int* position)
try {
    if (position == nullptr) {
        return false;
    }
    const auto begin = static_cast<std::size_t>(*position);
    const bool isInside = *position >= 0 && begin <= line.size() && line.size() <= kMaxLine;
    *position = -1;
    CParameterReader reader(line, begin);
    if (!isInside || !ReadParameter(&reader, this)) {
        return false;
    }
    *position = static_cast<int>(reader.Position());
    return reader.Separator() == ';';
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CParameters::ToString(CUtf8String* out) const
try {
    return out != nullptr && AppendParameters(*this, out);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

// The index of the entry, or the count of entries if there is none.
std::size_t CParameters::IndexOf(std::string_view name) const
{
    if (m_index.empty()) {
        const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                        [name](const CEntry& e) { return e.name == name; });
        return static_cast<std::size_t>(found - m_entries.begin());
    }
    const auto found = m_index.find(name);
    return found == m_index.end() ? m_entries.size() : found->second;
}

// The new entry has no values yet. After an exception nothing has changed.
CParameters::CEntry& CParameters::AddEntry(std::string name)
{
    const std::size_t count = m_entries.size();
    if (count < kMaxWalked) {
        return m_entries.emplace_back(CEntry{std::move(name), nullptr});
    }
    // Built apart, since merge allocates nothing: an exception leaves no name without its entry.
    // The first entry past the limit brings along all names before it.
    CIndex added;
    for (std::size_t index = m_index.size(); index < count; ++index) {
        added.emplace(m_entries[index].name, index);
    }
    added.emplace(name, count);
    m_entries.push_back({std::move(name), nullptr});
    m_index.merge(added);
    return m_entries.back();
}

CParameterValues& FindOrAddValues(CParameters* parameters, std::string name)
{
    CParameterValues* values = nullptr;
    if (parameters->Lookup(name, values)) {
        return *values;
    }
    // Before the entry: none may be without an object for its values.
    auto added = Make<CParameterValues>();
    CParameters::CEntry& entry = parameters->AddEntry(std::move(name));
    entry.values = std::move(added);
    return *entry.values;
}

CContentLine::CContentLine(std::string group, std::string name, CParameters parameters,
                           std::u16string value)
    : m_group(std::move(group)),
      m_name(std::move(name)),
      m_parameters(std::move(parameters)),
      m_mainValue(std::move(value))
{}

bool CContentLine::SetName(const std::string&)
{
    return false;
}

bool CContentLine::SetMainValue(std::u16string value)
{
    m_mainValue = std::move(value);
    return true;
}

bool CContentLine::Parse(std::string_view line, std::string* group, std::string* name,
                         CParameters* parameters, std::u16string* value)
try {
    return group != nullptr && name != nullptr && parameters != nullptr && value != nullptr &&
           ParseLine(line, group, name, parameters, value);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CContentLine::ToString(CUtf8String* out) const
try {
    if (out == nullptr) {
        return false;
    }
    out->clear();
    return AppendLine(*this, out);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CContentLine::AppendFolded(std::string* text, std::uint32_t maxLineLength) const
{
    if (text == nullptr) {
        return false;
    }
    const std::size_t before = text->size();
    try {
        return DirectoryUtils::AppendFolded(*this, maxLineLength, text);
    } catch (const std::bad_alloc&) {
        text->resize(before);
        return FailForMemory();
    }
}

bool CContentLine::Write(HANDLE file, std::uint32_t maxLineLength) const
{
    std::string text;
    if (!AppendFolded(&text, maxLineLength)) {
        return false;
    }
    // WriteFile counts bytes in 32 bits.
    if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    const auto size = static_cast<std::uint32_t>(text.size());
    std::uint32_t written = 0;
    return WriteFile(file, text.data(), size, &written, nullptr) != 0 && written == size;
}

std::u16string CContentLine::GetTextComponent(std::u16string_view text, char16_t separator,
                                              int* position)
{
    if (position == nullptr || *position < 0) {
        return {};
    }
    const std::size_t begin = std::min(static_cast<std::size_t>(*position), text.size());
    const std::size_t end = text.find(separator, begin);
    // npos, for no further separator, is above the limit too.
    *position = end < kMaxLine ? static_cast<int>(end + 1) : -1;
    return std::u16string(text.substr(begin, end - begin));
}

CContentLines& CContentLines::operator=(CContentLines&& other) noexcept
{
    if (this != &other) {
        DeleteAll();
        CList::operator=(std::move(other));
    }
    return *this;
}

void CContentLines::DeleteAll() noexcept
{
    for (const CContentLine* line : *this) {
        delete line;
    }
    RemoveAll();
}

POSITION CContentLines::Find(std::string_view name, POSITION after) const
{
    if (IsEmpty()) {
        return nullptr;
    }
    POSITION position = after == nullptr ? GetHeadPosition() : after->next;
    while (position != nullptr && !EqualIgnoringCase(GetAt(position)->GetName(), name)) {
        position = position->next;
    }
    return position;
}

} // namespace DirectoryUtils
