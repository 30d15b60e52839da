#pragma once

#include <string>
#include <string_view>

// Dates and times of cards. vCard 4.0 has the basic form of ISO 8601 (RFC 6350, 4.3), vCard 3.0 and
// jCard the extended one (RFC 7095, 3.5). What is no date or time passes unchanged.

// 1985-04-12T10:22:00Z becomes 19850412T102200Z, and --04-12 becomes --0412.
std::string ToBasicDate(std::string_view value);

// The inverse. Basic 1985-04 stands for a month, and stays.
std::string ToExtendedDate(std::string_view value);

// Offsets from UTC: -05:00 becomes -0500, and back.
std::string ToBasicOffset(std::string_view value);
std::string ToExtendedOffset(std::string_view value);

// Whether a text is a date or a time, whole or in part, in either form.
bool IsDate(std::string_view value);
bool IsOffset(std::string_view value);
