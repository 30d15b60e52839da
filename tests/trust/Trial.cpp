#include "trust/Trial.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr std::size_t kLongestNote = 300;

std::u16string Pattern(std::uint32_t seed, std::size_t size)
{
    std::u16string text(size, u' ');
    for (std::size_t index = 0; index < size; ++index) {
        text[index] = static_cast<char16_t>(u'a' + (index + seed) % 26);
    }
    return text;
}

std::u16string Wide(const std::string& text)
{
    return {text.begin(), text.end()};
}

} // namespace

bool CRow::Try(bool isKept, const std::string& what)
{
    ++m_tried;
    if (!isKept) {
        ++m_broken;
        Note(what + " (error " + std::to_string(GetLastError()) + ")");
    }
    return isKept;
}

void CRow::Note(const std::string& text)
{
    if (m_note.size() < kLongestNote) {
        m_note += (m_note.empty() ? "" : "; ") + text;
    }
}

bool CRow::Print() const
{
    std::printf("%s | %lld | %lld | %s\n", m_promise.c_str(), static_cast<long long>(m_tried),
                static_cast<long long>(m_broken), m_note.c_str());
    std::fflush(stdout);
    return m_broken == 0 && m_tried > 0;
}

ContactMgr::CContactId IdOf(std::uint32_t number)
{
    return {CPABContact::kPluginType, number};
}

std::string PathOf(const std::string& book, std::uint32_t number)
{
    return book + '/' + CPABContact::ContactIdToFileName(IdOf(number));
}

std::string RedoPathOf(const std::string& book, std::uint32_t number)
{
    return PathOf(book + "/.redo", number);
}

std::uint64_t LastWriteOf(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data);
    return FileTimeToCount(data.ftLastWriteTime);
}

void SetText(CContact& contact, std::uint32_t seed, std::size_t size)
{
    contact.SetProperty("FullName", Wide(std::to_string(seed) + ' ' + std::to_string(size)));
    contact.SetProperty("Comment", Pattern(seed, size));
}

std::optional<std::uint32_t> SeedOf(CContact& contact)
{
    std::u16string name;
    std::u16string comment;
    if (!contact.GetProperty("FullName", &name) || !contact.GetProperty("Comment", &comment)) {
        return std::nullopt;
    }
    char* end = nullptr;
    const std::string text(name.begin(), name.end());
    const auto seed = static_cast<std::uint32_t>(std::strtoul(text.c_str(), &end, 10));
    const std::size_t size = std::strtoul(end, nullptr, 10);
    return comment == Pattern(seed, size) ? std::optional(seed) : std::nullopt;
}

ContactPtr Open(CPABPlugin& plugin, std::uint32_t number)
{
    CContact* contact = nullptr;
    SetLastError(ERROR_SUCCESS);
    plugin.OpenContact(IdOf(number), &contact);
    return ContactPtr(contact);
}

ContactPtr OpenPatiently(CPABPlugin& plugin, std::uint32_t number)
{
    ContactPtr contact = Open(plugin, number);
    for (int attempt = 0; contact == nullptr && attempt < 20'000; ++attempt) {
        if (GetLastError() != ERROR_SHARING_VIOLATION) {
            break;
        }
        SleepMicroseconds(RandomBelow(1000));
        contact = Open(plugin, number);
    }
    return contact;
}

bool Change(CPABPlugin& plugin, std::uint32_t number, std::uint32_t seed, std::size_t size)
{
    const ContactPtr contact = OpenPatiently(plugin, number);
    if (contact == nullptr) {
        return false;
    }
    SetText(*contact, seed, size);
    return contact->Save();
}

std::uint32_t New(CPABPlugin& plugin, std::uint32_t seed, std::size_t size)
{
    const ContactPtr contact(plugin.CreateContact(nullptr));
    if (contact == nullptr) {
        return 0;
    }
    SetText(*contact, seed, size);
    return contact->Save() ? contact->GetId().ToNumber() : 0;
}

ssize_t CBeforeOverwrite::WriteAt(int file, const void* buffer, std::size_t size, off_t position)
{
    std::error_code ignored;
    if (std::filesystem::equivalent("/proc/self/fd/" + std::to_string(file), m_path, ignored)) {
        m_step(file, buffer, size);
    }
    return CSystemCalls::WriteAt(file, buffer, size, position);
}

std::string ReadWhole(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteWhole(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

std::vector<std::uint32_t> CountersIn(const std::string& book)
{
    std::vector<std::uint32_t> counters;
    if (!std::filesystem::exists(book)) {
        return counters;
    }
    for (const auto& entry : std::filesystem::directory_iterator(book)) {
        if (entry.path().extension() == ".nxt") {
            const std::string name = entry.path().stem();
            counters.push_back(static_cast<std::uint32_t>(std::strtoul(name.c_str(), nullptr, 16)));
        }
    }
    std::sort(counters.begin(), counters.end());
    return counters;
}

pid_t StartWorker(const std::function<bool()>& work)
{
    const pid_t parent = getpid();
    const pid_t worker = fork();
    if (worker == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {
            _exit(2);
        }
        Random().seed(static_cast<unsigned>(getpid()));
        _exit(work() ? 0 : 1);
    }
    return worker;
}

void Kill(pid_t worker)
{
    kill(worker, SIGKILL);
    waitpid(worker, nullptr, 0);
}

bool HasSucceeded(pid_t worker)
{
    int status = 0;
    return waitpid(worker, &status, 0) == worker && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::mt19937& Random()
{
    thread_local std::mt19937 random(1);
    return random;
}

std::uint32_t RandomBelow(std::uint32_t limit)
{
    return static_cast<std::uint32_t>(Random()() % limit);
}

void SleepMicroseconds(std::uint32_t microseconds)
{
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}
