#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

inline namespace contactmgr_internal
{

// What a path template is filled in with. Mailbox and domain names are plain (IsPlainName); the
// home folder is needed where the template uses it.
struct CTemplateNames
{
    std::string_view name;
    std::string_view domain;
    std::string_view home;
};

// A path with variables for the names of a mailbox: see CMailServer. A value.
class CPathTemplate
{
public:
    // A relative path counts from the process's folder. False with *fault saying what the text has
    // that a template cannot have, such as "has %x, which is not supported".
    bool Parse(std::string_view text, std::string* fault);

    bool IsFixed() const { return m_components.empty() && !m_startsAtHome; }
    bool StartsAtHome() const { return m_startsAtHome; }

    // Whether each mailbox name of a domain gives a path of its own.
    bool TellsNamesApart() const { return m_startsAtHome || m_nameIndex < m_components.size(); }
    // Whether each domain does.
    bool HasDomain() const { return m_domainIndex < m_components.size(); }

    // What stands in front of the first component with a variable; the home folder is none.
    const std::string& Root() const { return m_root; }

    // Gives the path. Empty where the names make a component empty, "." or "..", which only a part
    // of a name can do.
    std::string Fill(const CTemplateNames& names) const;

    // The same with all folders on the way to it, from below the root or the home folder down.
    std::vector<std::string> FillDown(const CTemplateNames& names) const;

    // The folder that the first component with the domain names; empty where the template has
    // none, or the name comes in no later component.
    std::string DomainPath(std::string_view domain) const;

    // The names of a domain for which the folders have entries; what is behind an entry is not
    // looked at. Not for a template that starts at the home folder. False with ERROR_PATH_NOT_FOUND
    // (3): the first folder to list is missing; other codes: a folder cannot be listed.
    bool ListNames(std::string_view domain, std::vector<std::string>* names) const;

private:
    // Literal text, or where the letter is set, a variable with its modifiers.
    struct Part
    {
        std::string literal;
        char letter = '\0';    // 'n', 'd', 'u' or 'h'
        char fold = '\0';      // 'L': lower case; 'U': upper case
        int offset = 0;        // of the first byte; a negative one counts from the end
        std::size_t width = 0; // in bytes; 0 for all
    };
    using Component = std::vector<Part>;

    static bool ParseSubstring(std::string_view text, Part* part);
    static bool ParseVariable(std::string_view* text, Part* part);
    static bool ParseComponent(std::string_view text, Component* component, std::string* fault);
    static bool IsVariable(const Part& part);
    static bool HasName(const Part& part);
    static bool IsWholeName(const Part& part);
    static bool IsWholeDomain(const Part& part);
    static std::string FillPart(const Part& part, const CTemplateNames& names);
    static std::string FillComponent(const Component& component, const CTemplateNames& names);
    static std::string NameOfEntry(const Component& component, const std::string& entry,
                                   std::string_view domain);

    bool TakeHome(std::string_view text, std::vector<Component>* components, std::string* fault);
    bool ListBelow(const std::string& folder, std::size_t index, std::string_view domain,
                   std::vector<std::string>* names) const;
    std::size_t IndexOf(bool (*isWanted)(const Part&)) const;

    std::string m_root;
    bool m_startsAtHome = false;
    std::vector<Component> m_components; // below the root or the home folder
    std::size_t m_nameIndex = 0;         // of the first component with the whole name
    std::size_t m_domainIndex = 0;       // and of the first with the whole domain
};

} // namespace contactmgr_internal
