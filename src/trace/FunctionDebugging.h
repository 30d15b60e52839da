#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

// A trace scope: a local object made on entry to an operation with a literal such as
// "CPABContact::Save", and ended on every way out. While no rules are set it costs one atomic load.
//
// The capture rules of the process say which scopes report what. Each event is one line,
//
//     T2 ann@example.org   > CPABContact::GetProperty
//
// of thread, active mail name (if there is one), an indent for nested scopes, the kind of event
// (> entry, < exit, ? parameters, = return values) and the scope. Tracing never changes the last
// error and reports no failure: a line that finds no memory is lost.
class CFunctionDebugging
{
public:
    // Capture bits; all others are unused.
    static constexpr std::uint32_t kCaptureScopes = 1; // entry and exit
    static constexpr std::uint32_t kCaptureParameters = 2;
    static constexpr std::uint32_t kCaptureReturnValues = 4;
    static constexpr std::uint32_t kCaptureLargeBuffers = 32; // values of any length, uncut

    // Without kCaptureLargeBuffers a longer value is cut to this many bytes.
    static constexpr std::size_t kLargeBufferBytes = 256;

    // The literal must outlive the scope. Its namespace is what stands before the last "::", its
    // function name what stands behind. The scope keeps the bits that the rules give it here.
    explicit CFunctionDebugging(const char* function) noexcept
        : m_literal(function == nullptr ? "" : function)
    {
        if (s_haveRules.load(std::memory_order_relaxed)) {
            Begin();
        }
    }
    ~CFunctionDebugging()
    {
        if (m_bits != 0) {
            End();
        }
    }
    CFunctionDebugging(const CFunctionDebugging&) = delete;
    CFunctionDebugging& operator=(const CFunctionDebugging&) = delete;

    const std::string& GetFunctionName() const noexcept { return Names().function; }
    const std::string& GetNamespace() const noexcept { return Names().nameSpace; }

    // Non-zero if the scope captures it.
    int DebugParameters() const noexcept { return (m_bits & kCaptureParameters) != 0; }
    int DebugReturnValues() const noexcept { return (m_bits & kCaptureReturnValues) != 0; }
    int DebugLargeBuffers() const noexcept { return (m_bits & kCaptureLargeBuffers) != 0; }

    // Report count pairs of a name and a value, each a narrow string or a zero-ended text; nothing
    // where the scope does not capture them. The result says whether the operation succeeded.
    template <class... Texts>
    void Parameters(int count, const Texts&... namesAndValues) const noexcept
    {
        static_assert(sizeof...(Texts) % 2 == 0, "a value for each name");
        const std::string_view texts[sizeof...(Texts) + 1] = {View(namesAndValues)...};
        ReportParameters(texts, PairCount(count, sizeof...(Texts)));
    }
    template <class... Texts>
    void ReturnValues(int result, int count, const Texts&... namesAndValues) const noexcept
    {
        static_assert(sizeof...(Texts) % 2 == 0, "a value for each name");
        const std::string_view texts[sizeof...(Texts) + 1] = {View(namesAndValues)...};
        ReportReturnValues(result, texts, PairCount(count, sizeof...(Texts)));
    }

    // Sets the rules of the process, for scopes made from now on; null removes them. Any thread
    // may do so at any time. A rule is NAMESPACE:FUNCTION:NAME:DOMAIN:MASK, several are divided by
    // semicolons or line breaks. The first four match whole, with case, and a '*' in them stands
    // for any text; NAME and DOMAIN match the thread's active mail name. The mask is decimal, or
    // hexadecimal behind 0x. A scope gets the bits of all rules that match it. Text that is no
    // rule, or no rule at all, fails with last error 87, and the old rules stay.
    static bool SetEventCaptureRules(const char* rules);

    static bool TurnOn() { return SetEventCaptureRules("*:*:*:*:65535"); }
    static bool TurnOff() { return SetEventCaptureRules(nullptr); }

    // Takes each line, without line end; from any thread, but never from two at once. It may not
    // set a sink. Scopes inside it report nothing. An empty one stands for standard error, the
    // start. When the call returns, the old sink runs no more.
    using CSink = std::function<void(std::string_view line)>;
    static void SetSink(CSink sink);

    // Names the mailbox that the thread works for, for as long as it lives; "*" is none. A
    // resource. They nest: the last made holds.
    class CActiveMailName
    {
    public:
        explicit CActiveMailName(std::string name = "*", std::string domain = "*") noexcept;
        ~CActiveMailName();
        CActiveMailName(const CActiveMailName&) = delete;
        CActiveMailName& operator=(const CActiveMailName&) = delete;

        const std::string& Name() const noexcept { return m_name; }
        const std::string& Domain() const noexcept { return m_domain; }

    private:
        const std::string m_name;
        const std::string m_domain;
        const CActiveMailName* const m_outer;
    };

private:
    struct CNames
    {
        std::string function;
        std::string nameSpace;
    };

    static std::string_view View(const char* text) noexcept { return text ? text : "(null)"; }
    static std::string_view View(const std::string& text) noexcept { return text; }
    static std::size_t PairCount(int count, std::size_t texts) noexcept
    {
        const std::size_t wanted = count < 0 ? 0 : static_cast<std::size_t>(count);
        return wanted < texts / 2 ? wanted : texts / 2;
    }

    void Begin() noexcept;
    void End() noexcept;
    void ReportParameters(const std::string_view* texts, std::size_t pairs) const noexcept;
    void ReportReturnValues(int result, const std::string_view* texts,
                            std::size_t pairs) const noexcept;
    const CNames& Names() const noexcept;

    static std::atomic<bool> s_haveRules;

    const char* const m_literal;
    std::uint32_t m_bits = 0;
    mutable std::unique_ptr<const CNames> m_names; // made when asked for
};
