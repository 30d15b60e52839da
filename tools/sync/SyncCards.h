#pragma once

#include "cards/VCard.h"

#include <string>
#include <string_view>

class CContact;

// The contact's card as it goes out: with a name (AddName), and without the e-mail comments that
// say that same name; the address book adds these. A photo in base64 is written as RFC 2426 has it.
// False with the last error of CContact::ToString.
bool ReadOutgoingCard(CContact& contact, CVCard* card);

// The one card of a file, as vCard 3.0, with a name too. False, and *fault says why, for a text
// with no card or with two, for one that is cut short, in a version that there is not, or that
// is no UTF-8.
bool ReadTheirCard(const std::string& text, CVCard* card, std::string* fault);

// ContentDigest of what the address book makes of a card that comes in. So a contact and the file
// that it came from have the same. False with the last error of CContact::FromString for a card
// that it does not take.
bool StoredDigest(const CVCard& card, std::string* digest);

// Puts a UID line in front of the END line of a text that ReadTheirCard takes.
std::string WithUidLine(std::string text, std::string_view uid);
