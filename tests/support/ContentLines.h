#pragma once

#include "directory/AddressContentLine.h"
#include "directory/EmailContentLine.h"
#include "directory/IMContentLine.h"
#include "directory/NameContentLine.h"
#include "directory/TelephoneContentLine.h"

#include <string>
#include <string_view>

// The outputs of CContentLine::Parse, and the lines that they make.
struct CParsedLine
{
    std::string group;
    std::string name;
    DirectoryUtils::CParameters parameters;
    std::u16string value;

    bool Parse(std::string_view line)
    {
        return DirectoryUtils::CContentLine::Parse(line, &group, &name, &parameters, &value);
    }
    DirectoryUtils::CContentLine Line() const { return {group, name, parameters, value}; }
    template <class Typed>
    Typed As() const
    {
        return Typed(group, parameters, value);
    }
};

// The typed line of a text; a text that Parse refuses gives an empty line.
template <class Typed>
Typed ReadLine(std::string_view text)
{
    CParsedLine parsed;
    return parsed.Parse(text) ? parsed.As<Typed>() : CParsedLine().As<Typed>();
}

inline std::string LineText(const DirectoryUtils::CContentLine& line)
{
    CUtf8String text;
    return line.ToString(&text) ? text : "ToString failed";
}

// What is left of a line whose entry alone is kept: the type mask, and the line written from it.
struct CKeptLine
{
    std::uint32_t mask = 0;
    std::string text;
};

template <class Typed, class Entry>
CKeptLine KeepEntry(const CParsedLine& line, const Entry& (Typed::*get)() const)
{
    const Entry entry = (line.As<Typed>().*get)();
    return {entry.GetType(), LineText(Typed(entry))};
}

// Lines of other names are kept whole.
inline CKeptLine Keep(const CParsedLine& line)
{
    using namespace VCardUtils;
    return line.name == "ADR"     ? KeepEntry(line, &CAddressContentLine::GetAddress)
           : line.name == "EMAIL" ? KeepEntry(line, &CEmailContentLine::GetEmail)
           : line.name == "IMPP"  ? KeepEntry(line, &CIMContentLine::GetIM)
           : line.name == "TEL"   ? KeepEntry(line, &CTelephoneContentLine::GetTelephone)
                                  : CKeptLine{0, LineText(line.Line())};
}

inline CKeptLine Keep(std::string_view text)
{
    CParsedLine line;
    return line.Parse(text) ? Keep(line) : CKeptLine();
}
