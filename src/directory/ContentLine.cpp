#include "directory/ContentLine.h"

#include "platform/Ascii.h"
#include "platform/Failure.h"

#include <algorithm>
#include <new>

namespace DirectoryUtils
{
namespace
{

constexpr char kTag[] = "CParameterValues";

// More entries than this are looked up in the index. Real lines have one to three parameters.
constexpr std::size_t kMaxWalked = 16;

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
    if (index < m_entries.size()) {
        (void)m_entries[index].values.release();
        m_entries[index].values.reset(values);
        return true;
    }
    m_entries.push_back({std::string(name), nullptr});
    try {
        Index(index);
    } catch (const std::bad_alloc&) {
        m_entries.pop_back();
        throw;
    }
    m_entries.back().values.reset(values);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

CParameterValues* CParameters::FindOrAdd(std::string_view name)
{
    CParameterValues* values = nullptr;
    if (Lookup(name, values)) {
        return values;
    }
    std::unique_ptr<CParameterValues> added(new CParameterValues);
    return SetAt(name, added.get()) ? added.release() : nullptr;
}

// The number of the entry, or the count where there is none.
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

// The first that is too many for a walk brings those before it along.
void CParameters::Index(std::size_t added)
{
    if (added < kMaxWalked) {
        return;
    }
    if (!m_index.empty()) {
        m_index.emplace(m_entries[added].name, added);
        return;
    }
    CIndex made;
    for (std::size_t index = 0; index <= added; ++index) {
        made.emplace(m_entries[index].name, index);
    }
    m_index.swap(made);
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
