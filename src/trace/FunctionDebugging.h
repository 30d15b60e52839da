#pragma once

#include "platform/Export.h"
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

// A trace scope: a local object of an operation, made with a literal such as "CPABContact::Save".
// Its construction reports the entry, its destruction the exit. One thread uses it. Without rules
// it costs one atomic load.
//
// The capture rules of the process decide which scopes report what. Each event is one line:
//
//     T2 ann@example.org   > CPABContact::GetProperty
//
// The line has the thread, the active mail name if there is one, an indent for nested scopes, the
// kind of event (> entry, < exit, ? parameters, = return values) and the scope's literal. Tracing
// never fails and never changes the last error. A line that finds no memory is lost.
class CONTACTMGR_API CFunctionDebugging
{
public:
    // Capture bits. All others are ignored.
    static constexpr std::uint32_t kCaptureScopes = 1; // entry and exit
    static constexpr std::uint32_t kCaptureParameters = 2;
    static constexpr std::uint32_t kCaptureReturnValues = 4;
    static constexpr std::uint32_t kCaptureLargeBuffers = 32; // values are not cut

    // A longer value is cut to this many bytes, or up to three fewer for a whole UTF-8 character.
    static constexpr std::size_t kLargeBufferBytes = 256;

    // The literal must outlive the scope; null counts as empty. The scope keeps the capture bits
    // that the rules give it at this moment.
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

    // The part of the literal after the last "::", and the part before it. The whole literal and
    // an empty text where it has none; both empty when memory is exhausted.
    const std::string& GetFunctionName() const noexcept { return Names().function; }
    const std::string& GetNamespace() const noexcept { return Names().nameSpace; }

    // Non-zero if the scope captures this.
    int DebugParameters() const noexcept { return (m_bits & kCaptureParameters) != 0; }
    int DebugReturnValues() const noexcept { return (m_bits & kCaptureReturnValues) != 0; }
    int DebugLargeBuffers() const noexcept { return (m_bits & kCaptureLargeBuffers) != 0; }

    // Report the first `count` pairs of a name and a value, if the scope captures them. Each is a
    // narrow string or a zero-ended text, in UTF-8; null counts as "(null)". The result is non-zero
    // for an operation that succeeded.
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

    // Sets the rules of the process, for scopes made from now on; null removes them. Any thread may
    // call it at any time. A rule is NAMESPACE:FUNCTION:NAME:DOMAIN:MASK. Semicolons or line breaks
    // divide several. The first four fields match a whole text, with case; a '*' matches any text.
    // NAME and DOMAIN match the thread's active mail name. The mask is decimal, or hexadecimal
    // after "0x". A scope gets the bits of all rules that match it. On failure the old rules stay.
    // Last error ERROR_INVALID_PARAMETER (87): a malformed rule, or none; ERROR_NOT_ENOUGH_MEMORY
    // (8).
    static bool SetEventCaptureRules(const char* rules);

    // All scopes report everything; none reports anything.
    static bool TurnOn() { return SetEventCaptureRules("*:*:*:*:65535"); }
    static bool TurnOff() { return SetEventCaptureRules(nullptr); }

    // Sets the function that gets each line, without its line end. Any thread may call the sink,
    // but only one at a time. Scopes inside the sink report nothing, SetSink inside it does
    // nothing, and exceptions from it are dropped. An empty sink stands for standard error, which
    // is the default. The old sink is no longer running when SetSink returns.
    using CSink = std::function<void(std::string_view line)>;
    static void SetSink(CSink sink);

    // Sets the thread's active mail name for its own lifetime. "*" and "*" stand for none. They
    // nest: the one made last counts. A resource; the thread that made it destroys it.
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
