#pragma once

#include "server/MailStoreAdmin.h"

#include <string>
#include <string_view>
#include <vector>

class CReport;

// Whose properties: a mailbox's, a domain's (no name), or the server's (neither). A value.
struct CPropertyOwner
{
    std::string name;
    std::string domain;

    // As MailStoreAdmin.h takes them.
    const char* Name() const { return name.empty() ? nullptr : name.c_str(); }
    const char* Domain() const { return domain.empty() ? nullptr : domain.c_str(); }

    // For messages: "alice@example.org", "domain example.org", "the server".
    std::string Text() const;

    // Where its own properties stand.
    EPropertySource Source() const;
};

// Those that hold: the first of each name.
std::vector<CMailboxProperty> EffectiveProperties(const std::vector<CMailboxProperty>& properties);

// "FILE:LINE", or "default".
std::string PlaceOf(const CMailboxProperty& property);

// One line of JSON without a line end.
std::string ToJson(const CMailboxProperty& property);

// Whether a property is read, but in another type.
bool HasWrongType(const CMailboxProperty& property);

// Reports that as WHAT, with the file, the line and the property's name. False.
bool ReportWrongType(CReport& report, const std::string& what, const CMailboxProperty& property);

// Reports as WHAT, from the last error, why properties could not be read or set. Names the file and
// the line of a damaged file, and of a property in a wrong type: of `property`, or else of the
// first one. False.
bool FailProperties(CReport& report, _tMailServer* server, const CPropertyOwner& owner,
                    const std::string& what, std::string_view property = {});
