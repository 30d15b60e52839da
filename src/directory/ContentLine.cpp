#include "directory/ContentLine.h"

#include "platform/Ascii.h"
#include "platform/LastError.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <new>

namespace DirectoryUtils
{
namespace
{

constexpr char kTag[] = "CParameterValues";

// More entries than this are looked up by hash. Real lines have one to three parameters.
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

CParameters::CParameters(const CParameters& other) : m_slots(other.m_slots)
{
    m_entries.reserve(other.m_entries.size());
    for (const CEntry& entry : other) {
        std::unique_ptr<CParameterValues> values(new CParameterValues(*entry.values));
        if (values == nullptr) {
            throw std::bad_alloc();
        }
        m_entries.push_back({entry.name, std::move(values)});
    }
}

CParameters& CParameters::operator=(CParameters other) noexcept
{
    m_entries.swap(other.m_entries);
    m_slots.swap(other.m_slots);
    return *this;
}

void CParameters::RemoveAll() noexcept
{
    m_entries.clear();
    m_slots.clear();
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
    MakeSlotsFor(index + 1);
    m_entries.push_back({std::string(name), nullptr});
    m_entries.back().values.reset(values);
    FillSlot(index);
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
    if (m_slots.empty()) {
        const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                        [name](const CEntry& e) { return e.name == name; });
        return static_cast<std::size_t>(found - m_entries.begin());
    }
    const std::size_t mask = m_slots.size() - 1;
    std::size_t slot = std::hash<std::string_view>()(name) & mask;
    while (m_slots[slot] != 0) {
        if (m_entries[m_slots[slot] - 1].name == name) {
            return m_slots[slot] - 1;
        }
        slot = (slot + 1) & mask;
    }
    return m_entries.size();
}

// Half of the slots stay free, so that a search ends soon.
void CParameters::MakeSlotsFor(std::size_t count)
{
    if (count <= kMaxWalked || count * 2 <= m_slots.size()) {
        return;
    }
    m_slots = std::vector<std::uint32_t>(std::bit_ceil(count * 4));
    for (std::size_t index = 0; index < m_entries.size(); ++index) {
        FillSlot(index);
    }
}

void CParameters::FillSlot(std::size_t index) noexcept
{
    if (m_slots.empty()) {
        return;
    }
    const std::size_t mask = m_slots.size() - 1;
    std::size_t slot = std::hash<std::string_view>()(m_entries[index].name) & mask;
    while (m_slots[slot] != 0) {
        slot = (slot + 1) & mask;
    }
    m_slots[slot] = static_cast<std::uint32_t>(index + 1);
}

CContentLine::CContentLine(std::string group, std::string name, CParameters parameters,
                           std::u16string value)
    : m_group(std::move(group)),
      m_name(std::move(name)),
      m_parameters(std::move(parameters)),
      m_mainValue(std::move(value))
{}

void* CContentLine::operator new(std::size_t size) noexcept
{
    return CMemoryDebugging::TraceAllocate(size, "NoFileInfo", 0);
}

void CContentLine::operator delete(void* memory) noexcept
{
    CMemoryDebugging::TraceDeallocate(memory);
}

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
