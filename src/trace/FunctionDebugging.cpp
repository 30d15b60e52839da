#include "trace/FunctionDebugging.h"

#include "platform/Failure.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace
{

struct CRule
{
    // Patterns for namespace, function, mail name and domain.
    std::array<std::string, 4> patterns;
    std::uint32_t mask = 0;
};
using CRules = std::vector<CRule>;

// Never destroyed: threads may trace until the process ends.
struct CTrace
{
    std::mutex rulesMutex;
    std::shared_ptr<const CRules> rules;
    std::mutex sinkMutex;
    CFunctionDebugging::CSink sink;
    std::atomic<unsigned> threads{0};
};

CTrace& Trace()
{
    static CTrace& trace = *new CTrace;
    return trace;
}

thread_local const CFunctionDebugging::CActiveMailName* t_mailName = nullptr;
thread_local unsigned t_threadNumber = 0;
thread_local std::size_t t_depth = 0;
thread_local bool t_inSink = false;

std::string_view Trim(std::string_view text)
{
    const std::size_t begin = std::min(text.find_first_not_of(" \t\r"), text.size());
    return text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

// Removes the first field and its divider from the text.
std::string_view TakeField(std::string_view* text, std::string_view dividers)
{
    const std::size_t end = std::min(text->find_first_of(dividers), text->size());
    const std::string_view field = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return field;
}

bool ParseMask(std::string_view text, std::uint32_t* mask)
{
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    const std::string_view digits = text.substr(isHex ? 2 : 0);
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, *mask, isHex ? 16 : 10);
    return error == std::errc() && stop == end;
}

bool ParseRule(std::string_view text, CRule* rule)
{
    if (std::count(text.begin(), text.end(), ':') != 4) {
        return false;
    }
    for (std::string& pattern : rule->patterns) {
        pattern = Trim(TakeField(&text, ":"));
    }
    return ParseMask(Trim(text), &rule->mask);
}

bool ParseRules(std::string_view text, CRules* rules)
{
    while (!text.empty()) {
        const std::string_view line = Trim(TakeField(&text, ";\n"));
        if (line.empty()) {
            continue;
        }
        if (!ParseRule(line, &rules->emplace_back())) {
            return false;
        }
    }
    return !rules->empty();
}

// A '*' in the pattern matches any text. After a mismatch only the last '*' has to match one more
// character, so the time is at most the product of the two lengths.
bool Matches(std::string_view pattern, std::string_view text)
{
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = std::string_view::npos;
    std::size_t resume = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = t;
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            t = ++resume;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

// Gives the namespace and the function name.
std::pair<std::string_view, std::string_view> Split(std::string_view literal)
{
    const std::size_t divider = literal.rfind("::");
    if (divider == std::string_view::npos) {
        return {{}, literal};
    }
    return {literal.substr(0, divider), literal.substr(divider + 2)};
}

std::uint32_t MatchingBits(const CRules& rules, std::string_view literal)
{
    const auto [nameSpace, function] = Split(literal);
    std::string_view name = "*";
    std::string_view domain = "*";
    if (t_mailName != nullptr) {
        name = t_mailName->Name();
        domain = t_mailName->Domain();
    }
    const std::array<std::string_view, 4> texts = {nameSpace, function, name, domain};
    std::uint32_t bits = 0;
    for (const CRule& rule : rules) {
        if (std::equal(texts.begin(), texts.end(), rule.patterns.begin(),
                       [](auto text, const auto& pattern) { return Matches(pattern, text); })) {
            bits |= rule.mask;
        }
    }
    return bits;
}

// Escapes what would end the quotes or the line.
void AppendEscaped(std::string_view text, std::string* line)
{
    static constexpr std::string_view kHexDigits = "0123456789ABCDEF";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            *line += "\\x";
            *line += kHexDigits[byte >> 4];
            *line += kHexDigits[byte & 0xF];
            continue;
        }
        if (c == '"' || c == '\\') {
            *line += '\\';
        }
        *line += c;
    }
}

// The longest length up to the limit that cuts no UTF-8 character.
std::size_t CutLength(std::string_view text)
{
    std::size_t length = CFunctionDebugging::kLargeBufferBytes;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
        --length;
    }
    return length;
}

void AppendValue(std::string_view value, bool whole, std::string* line)
{
    const bool cut = !whole && value.size() > CFunctionDebugging::kLargeBufferBytes;
    *line += '"';
    AppendEscaped(cut ? value.substr(0, CutLength(value)) : value, line);
    *line += '"';
    if (cut) {
        *line += "... (" + std::to_string(value.size()) + " bytes)";
    }
}

void AppendPairs(const std::string_view* texts, std::size_t pairs, bool whole, std::string* line)
{
    for (std::size_t i = 0; i < pairs; ++i) {
        *line += ' ';
        AppendEscaped(texts[2 * i], line);
        *line += '=';
        AppendValue(texts[2 * i + 1], whole, line);
    }
}

std::string BeginLine(char kind, const char* literal)
{
    if (t_threadNumber == 0) {
        t_threadNumber = ++Trace().threads;
    }
    std::string line = "T" + std::to_string(t_threadNumber) + ' ';
    if (t_mailName != nullptr && (t_mailName->Name() != "*" || t_mailName->Domain() != "*")) {
        AppendEscaped(t_mailName->Name() + '@' + t_mailName->Domain() + ' ', &line);
    }
    line.append(2 * t_depth, ' ');
    line += kind;
    line += ' ';
    line += literal;
    return line;
}

void Emit(std::string line)
{
    CTrace& trace = Trace();
    const std::lock_guard lock(trace.sinkMutex);
    if (trace.sink == nullptr) {
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), stderr);
        return;
    }
    t_inSink = true;
    try {
        trace.sink(line);
    } catch (...) { // the traced operation goes on
    }
    t_inSink = false;
}

// A step of tracing must not fail or change the last error.
template <class Step>
void Quietly(const Step& step) noexcept
{
    if (t_inSink) {
        return;
    }
    const CKeepLastError keep;
    try {
        step();
    } catch (...) { // the event is lost
    }
}

} // namespace

std::atomic<bool> CFunctionDebugging::s_haveRules{false};

void CFunctionDebugging::Begin() noexcept
{
    Quietly([this] {
        std::shared_ptr<const CRules> rules;
        {
            const std::lock_guard lock(Trace().rulesMutex);
            rules = Trace().rules;
        }
        if (rules == nullptr) {
            return;
        }
        m_bits = MatchingBits(*rules, m_literal);
    });
    if ((m_bits & kCaptureScopes) != 0) {
        Quietly([this] { Emit(BeginLine('>', m_literal)); });
        ++t_depth;
    }
}

void CFunctionDebugging::End() noexcept
{
    if ((m_bits & kCaptureScopes) != 0) {
        --t_depth;
        Quietly([this] { Emit(BeginLine('<', m_literal)); });
    }
}

void CFunctionDebugging::ReportParameters(const std::string_view* texts,
                                          std::size_t pairs) const noexcept
{
    if (DebugParameters() == 0) {
        return;
    }
    Quietly([&] {
        std::string line = BeginLine('?', m_literal);
        AppendPairs(texts, pairs, DebugLargeBuffers() != 0, &line);
        Emit(std::move(line));
    });
}

void CFunctionDebugging::ReportReturnValues(int result, const std::string_view* texts,
                                            std::size_t pairs) const noexcept
{
    if (DebugReturnValues() == 0) {
        return;
    }
    Quietly([&] {
        std::string line = BeginLine('=', m_literal) + " result=" + std::to_string(result);
        AppendPairs(texts, pairs, DebugLargeBuffers() != 0, &line);
        Emit(std::move(line));
    });
}

const CFunctionDebugging::CNames& CFunctionDebugging::Names() const noexcept
{
    static const CNames kNoNames;
    try {
        if (m_names == nullptr) {
            const auto [nameSpace, function] = Split(m_literal);
            m_names.reset(new CNames{std::string(function), std::string(nameSpace)});
        }
    } catch (const std::bad_alloc&) {
        return kNoNames;
    }
    return *m_names;
}

bool CFunctionDebugging::SetEventCaptureRules(const char* rules)
try {
    std::shared_ptr<CRules> parsed;
    if (rules != nullptr) {
        parsed = std::make_shared<CRules>();
        if (!ParseRules(rules, parsed.get())) {
            return Fail(ERROR_INVALID_PARAMETER);
        }
    }
    const std::lock_guard lock(Trace().rulesMutex);
    s_haveRules.store(parsed != nullptr, std::memory_order_relaxed);
    Trace().rules = std::move(parsed);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

void CFunctionDebugging::SetSink(CSink sink)
{
    if (t_inSink) {
        return;
    }
    const std::lock_guard lock(Trace().sinkMutex);
    Trace().sink.swap(sink);
}

CFunctionDebugging::CActiveMailName::CActiveMailName(std::string name, std::string domain) noexcept
    : m_name(std::move(name)), m_domain(std::move(domain)), m_outer(std::exchange(t_mailName, this))
{}

CFunctionDebugging::CActiveMailName::~CActiveMailName()
{
    t_mailName = m_outer;
}
