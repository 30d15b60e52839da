#pragma once

#include "cards/VCard.h"

#include <string>
#include <string_view>

// URIs in lines, as vCard 4.0 has them and some programs write them in 3.0, in the form that vCard
// 3.0 has for what they name. Data URIs: cards/VCardBinary.h.

// Takes the scheme, with its colon, off the front of a URI. False for another one.
bool TakeScheme(std::string_view scheme, std::string* uri);

// The text that a part of a URI stands for (RFC 3986, 2.1). It stays as it is if that text has what
// would change the line around it: a control character, a backslash, or bytes that are no UTF-8.
std::string DecodeUriText(std::string_view part);

// tel:+1-555;ext=10 (RFC 3966) becomes "+1-555 ext. 10". Any other text stays.
void TelephoneTo3(std::string* number);

// geo:37.386,-122.083 (RFC 5870) becomes "37.386;-122.083". Any other text stays.
void PositionTo3(std::string* position);
