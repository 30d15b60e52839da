#pragma once

#include "platform/Export.h"
#include "platform/List.h"
#include "platform/Types.h"
#include "text/Utf8String.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The lines of a directory text (RFC 2425), in memory and as text. Nothing here knows of vCard.
// Narrow text is UTF-8, wide text UTF-16.
//
// An operation that fails gives false or null. It leaves ERROR_NOT_ENOUGH_MEMORY (8) when memory is
// exhausted, and ERROR_INVALID_DATA (13) when it was to write wide text that is no UTF-16. Any
// other refusal, a null output among them, leaves the last error alone. When memory is exhausted,
// constructors, list operations and the free functions throw std::bad_alloc, as copying a string
// does. A record belongs to one thread at a time.
namespace DirectoryUtils
{

// Traced allocation of the records. `new` gives null when memory is exhausted, with last error
// ERROR_NOT_ENOUGH_MEMORY (8).
struct CONTACTMGR_API CRecordAllocation
{
    static void* operator new(std::size_t size) noexcept;
    static void* operator new(std::size_t size, const char* file, std::uint32_t line,
                              CDummy) noexcept;
    static void operator delete(void* memory) noexcept;
    static void operator delete(void* memory, const char* file, std::uint32_t line,
                                CDummy) noexcept;
};

// The values of one parameter, in the order in which they were added. A value.
class CONTACTMGR_API CParameterValues : public CList<std::u16string>, public CRecordAllocation
{};

// The parameters of a line: names and the values of each. Names compare byte for byte; Parse and
// Extract store them in upper case. Owns the values; a copy has values of its own. A value.
class CONTACTMGR_API CParameters : public CRecordAllocation
{
public:
    struct CEntry
    {
        std::string name;
        std::unique_ptr<CParameterValues> values;
    };

    CParameters() = default;
    CParameters(const CParameters& other);
    CParameters(CParameters&& other) noexcept = default;
    CParameters& operator=(CParameters other) noexcept;
    virtual ~CParameters() { RemoveAll(); }

    std::size_t GetCount() const { return m_entries.size(); }
    bool IsEmpty() const { return m_entries.empty(); }
    void RemoveAll() noexcept;

    // If the name is there, `values` points to its values. They stay this object's, and are good
    // until RemoveAll or SetAt of the name. Else false, and `values` is as it was.
    bool Lookup(std::string_view name, CParameterValues*& values) const;

    // Adds an entry and takes over the values, an object from `new`. If the name is there already
    // its values are replaced and not freed: whoever looked them up owns them now. After false,
    // which null values give too, `values` stays the caller's.
    bool SetAt(std::string_view name, CParameterValues* values);

    // The values of the name, as Lookup gives them. A missing entry is added, without values. Null
    // on failure.
    CParameterValues* FindOrAdd(std::string_view name);

    // Reads one parameter (RFC 2425, 5.8.2), NAME=VALUE or NAME=VALUE,VALUE,..., that begins at the
    // byte *position:
    //   true         another one follows, and *position is behind the ";" between them
    //   false        it was the last, and *position is behind the ":" that ends the list
    //   false, -1    the text is malformed, or memory is exhausted; no parameter was added
    // The name is stored in upper case, and the values of a repeated name add up. A value may stand
    // in quotes, and ^n, ^^ and ^' in it are decoded (RFC 6868). `NAME=` is one empty value. A
    // quote inside an unquoted value stands for itself. Malformed are a word without "=", as vCard
    // 2.1 had it, an open quote, text behind a closing quote, a value that is no UTF-8, and a line
    // of 2 GB or more.
    bool Extract(std::string_view line, int* position);

    // Appends ";NAME=VALUE,VALUE" for each entry that has values. Separators, quotes and line feeds
    // in a value are quoted or encoded (RFC 6868), so that Extract reads the same values back; only
    // a carriage return comes back as a line feed. After false, for a value that is no UTF-16, the
    // output holds the part before it.
    bool ToString(CUtf8String* out) const;

    // The entries, in no order that a caller may rely on.
    auto begin() const { return m_entries.cbegin(); }
    auto end() const { return m_entries.cend(); }

private:
    friend CParameterValues& FindOrAddValues(CParameters* parameters, std::string name);

    std::size_t IndexOf(std::string_view name) const;
    CEntry& AddEntry(std::string name);

    std::vector<CEntry> m_entries;
    // Names with the numbers of their entries; empty while there are so few that a walk is faster.
    // A map in order, since a stranger can choose names that collide in any hash.
    using CIndex = std::map<std::string, std::size_t, std::less<>>;
    CIndex m_index;
};

// One line (RFC 2425, 5.8): group, name, parameters and main value. The main value is the raw text
// behind the colon, in which backslash escapes and the semicolons of structured values stand as
// they are. A value that is copied, not assigned, since the name of a line does not change.
class CONTACTMGR_API CContentLine : public CTracedAllocation
{
public:
    explicit CContentLine(std::string name) : m_name(std::move(name)) {}
    CContentLine(std::string group, std::string name, CParameters parameters, std::u16string value);
    CContentLine(const CContentLine& other) = default;
    CContentLine(CContentLine&& other) noexcept = default;
    CContentLine& operator=(const CContentLine&) = delete;
    virtual ~CContentLine() = default;

    const std::string& GetGroup() const { return m_group; }
    std::string& GetGroup() { return m_group; }
    const std::string& GetName() const { return m_name; }
    std::string& GetName() { return m_name; }
    // Always false: a line keeps its name.
    bool SetName(const std::string& name);
    const CParameters& GetParameters() const { return m_parameters; }

    virtual const std::u16string& GetMainValue() const { return m_mainValue; }
    // Always true here. A derived line may refuse a value, and says what it then holds.
    virtual bool SetMainValue(std::u16string value);

    // Takes one unfolded line, without its line end, apart: [group "."] name *(";" parameter) ":"
    // value. Parameters are read as CParameters::Extract does. The name comes in upper case, the
    // group as it was written. False for a malformed line and for a value that is no UTF-8; the
    // outputs are then not to be used.
    static bool Parse(std::string_view line, std::string* group, std::string* name,
                      CParameters* parameters, std::u16string* value);

    // The line, not folded and without a line end. After ERROR_INVALID_DATA (13), for a main value
    // or a parameter that is no UTF-16, the output holds the part that could be built.
    bool ToString(CUtf8String* out) const;

    // Appends the line as it stands in a file: folded (AppendFoldedLine) so that no physical line
    // has more than maxLineLength bytes, its tab counted, and ended with CR LF. Fails as ToString
    // does; the text is then as it was.
    bool AppendFolded(std::string* text, std::uint32_t maxLineLength) const;

    // Writes what AppendFolded gives to an open file, at its position. For code inside the mail
    // server that has a file open through the library's own file layer: no installed header makes
    // a HANDLE. Others write the text of AppendFolded. A failed write leaves the code of the file
    // layer; ERROR_FILE_TOO_LARGE (223): the line is 4 GB or more.
    bool Write(HANDLE file, std::uint32_t maxLineLength) const;

protected:
    CParameters& Parameters() { return m_parameters; }

    // The component of a structured value that begins at *position, counted in 16-bit units from
    // 0. The position moves behind the separator, or to -1 if the text ended the component. A
    // separator always separates, behind a backslash and in quotes too. A null or negative position
    // gives an empty text.
    static std::u16string GetTextComponent(std::u16string_view text, char16_t separator,
                                           int* position);

private:
    std::string m_group;
    std::string m_name;
    CParameters m_parameters;
    std::u16string m_mainValue;
};

// List of lines of any derived class, each from `new`. Deletes the lines that it holds when it is
// destroyed or assigned to. RemoveAt and RemoveAll do not delete: a removed line is the caller's.
// A resource: movable, not copyable.
class CONTACTMGR_API CContentLines : public CList<CContentLine*>, public CRecordAllocation
{
public:
    CContentLines() = default;
    CContentLines(CContentLines&& other) noexcept = default;
    CContentLines& operator=(CContentLines&& other) noexcept;
    ~CContentLines() override { DeleteAll(); }

    // Destroys every line and empties the list.
    void DeleteAll() noexcept;

    // The first line of that name, ASCII case ignored, from the head or behind `after`; null if
    // there is none.
    POSITION Find(std::string_view name, POSITION after = nullptr) const;
};

// Writes \ as \\, comma as \, and line feed as \n; nothing else, so a semicolon is not protected.
CONTACTMGR_API std::u16string EscapeTextValue(std::u16string_view text);

// The inverse: \\, \, and \n. Any other backslash stands for itself.
CONTACTMGR_API std::u16string UnescapeTextValue(std::u16string_view text);

// Appends one line and CR LF, folded with CR LF and a tab (RFC 2425, 5.8.1): at most firstLength
// bytes, then at most continuationLength bytes behind each tab. A character is never cut, so a
// physical line may be longer to hold one. CR and LF in the line become blanks. A line that would
// begin with a blank or a tab would continue the line before it; it gets a "." in front, which
// Parse skips.
CONTACTMGR_API void AppendFoldedLine(std::string_view line, std::size_t firstLength,
                                     std::size_t continuationLength, std::string* out);

} // namespace DirectoryUtils
