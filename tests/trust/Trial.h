#pragma once

#include "pab/PABContact.h"
#include "pab/PABPlugin.h"
#include "platform/SystemCalls.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <sys/types.h>

// What the trials of the address book share. A trial works in a fresh folder on the file system
// that it is given, with real files, processes and kills, and counts what it tried and what broke.

struct CTrialOptions
{
    std::string folder;
    std::string second; // another path or mount of the same folder; the first where there is none
    int count = 1;
    bool withJitter = false;
    std::string log;
    std::string share = "true"; // a shell command that shares the blocks of what is there

    const std::string& Second() const { return second.empty() ? folder : second; }
};

// One row of the table. The first reasons for which something counts as broken are kept.
class CRow
{
public:
    explicit CRow(std::string promise) : m_promise(std::move(promise)) {}

    // Counts one trial, and says which one broke.
    bool Try(bool isKept, const std::string& what);
    void Tried(std::int64_t count) { m_tried += count; }
    void Note(const std::string& text);
    // Prints "promise | tried | broken | note"; true if nothing broke and something was tried.
    bool Print() const;

private:
    std::string m_promise;
    std::int64_t m_tried = 0;
    std::int64_t m_broken = 0;
    std::string m_note;
};

using Trial = bool (*)(const CTrialOptions& options);
bool TryKills(const CTrialOptions& options);
bool TryRandomKills(const CTrialOptions& options);
bool TryNumbers(const CTrialOptions& options);
bool TryChanges(const CTrialOptions& options);
bool TryHandles(const CTrialOptions& options);
bool TryFullDisk(const CTrialOptions& options); // fills the folder's disk
bool TryRoot(const CTrialOptions& options);
// Saves with flushing on and logs what was acknowledged, until it is killed; one who opens all
// contacts in a copy of the disk that was taken meanwhile, without flushing; and the reader of such
// a copy, or of a copy of that.
bool SaveUntilKilled(const CTrialOptions& options);
bool RepairAfterPowerCut(const CTrialOptions& options);
bool ReadAfterPowerCut(const CTrialOptions& options);

using ContactPtr = std::unique_ptr<CContact>;

ContactMgr::CContactId IdOf(std::uint32_t number);
std::string PathOf(const std::string& book, std::uint32_t number);
std::string RedoPathOf(const std::string& book, std::uint32_t number);
std::uint64_t LastWriteOf(const std::string& path);

// A text in which every character depends on the seed, so that two of them cannot be mixed
// unnoticed; the seed that a contact holds, nothing if its text is not whole.
void SetText(CContact& contact, std::uint32_t seed, std::size_t size);
std::optional<std::uint32_t> SeedOf(CContact& contact);

ContactPtr Open(CPABPlugin& plugin, std::uint32_t number);
// The same, trying again for a while if somebody holds the contact.
ContactPtr OpenPatiently(CPABPlugin& plugin, std::uint32_t number);
bool Change(CPABPlugin& plugin, std::uint32_t number, std::uint32_t seed, std::size_t size);
std::uint32_t New(CPABPlugin& plugin, std::uint32_t seed, std::size_t size);

// While it lives, takes a step before each write to one file: in a save, behind the redo file.
class CBeforeOverwrite : public CSystemCalls
{
public:
    using Step = std::function<void(int file, const void* buffer, std::size_t size)>;

    CBeforeOverwrite(const std::string& path, Step step) : m_path(path), m_step(std::move(step))
    {
        Replace(this);
    }
    ~CBeforeOverwrite() override { Replace(nullptr); }
    ssize_t WriteAt(int file, const void* buffer, std::size_t size, off_t position) override;

private:
    const std::string m_path;
    const Step m_step;
};

// The bytes of a file as they are; written in place, by the kernel's stamp alone.
std::string ReadWhole(const std::string& path);
void WriteWhole(const std::string& path, const std::string& bytes);

// The counters in a folder, lowest first.
std::vector<std::uint32_t> CountersIn(const std::string& book);

// A child that ends with this process at the latest, and with 0 if the function gave true.
pid_t StartWorker(const std::function<bool()>& work);
void Kill(pid_t worker);
bool HasSucceeded(pid_t worker);

std::mt19937& Random();
std::uint32_t RandomBelow(std::uint32_t limit);
void SleepMicroseconds(std::uint32_t microseconds);

// Memory that children share with their parent. A resource; zero at first.
template <class Value>
class CShared
{
public:
    CShared()
    {
        void* memory =
            mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
        m_value = new (memory) Value;
    }
    ~CShared() { munmap(m_value, sizeof(Value)); }
    CShared(const CShared&) = delete;
    CShared& operator=(const CShared&) = delete;
    Value* operator->() const { return m_value; }
    Value& operator*() const { return *m_value; }

private:
    Value* m_value;
};
