#pragma once

#include "cards/VCard.h"

#include <string>
#include <vector>

// Cards of vCard 3.0 (RFC 2426) as vCard 4.0 (RFC 6350), and back.
//
//   3.0                                  4.0
//   TYPE=pref                            PREF=1; back: the line with the least PREF of its name
//   TYPE=HOME                            TYPE=home
//   EMAIL;TYPE=internet                  EMAIL
//   PHOTO;ENCODING=b;TYPE=JPEG:...       PHOTO:data:image/jpeg;base64,...
//   BDAY:1985-04-12, REV                 BDAY:19850412
//   BDAY;X-APPLE-OMIT-YEAR=1604:1604-..  BDAY:--0412
//   X-ANNIVERSARY                        ANNIVERSARY
//   SORT-STRING                          SORT-AS of N
//   LABEL                                LABEL of the ADR with the same types
//   AGENT                                RELATED;TYPE=agent
//   GEO:37.4;-122.1, TZ:-05:00           GEO:geo:37.4,-122.1, TZ;VALUE=utc-offset:-0500
//   X-ADDRESSBOOKSERVER-KIND, -MEMBER    KIND, MEMBER
//   CLASS, MAILER, NAME                  X-CLASS, X-MAILER, X-NAME
//
// All other lines stay. A card without a name gets one (AddName), since 4.0 wants it. The text is
// UTF-8 on both sides, so CHARSET goes.

// Both add to `notes` what the other version has no place for.
CVCard ToVersion4(const CVCard& card, std::vector<std::string>* notes);
CVCard ToVersion3(const CVCard& card, std::vector<std::string>* notes);

// The value of an FN line for a card without one: its name, nickname, organisation, address or
// number. Empty if it has none of these.
std::string MakeFullName(const CVCard& card);

// Gives a card without an FN line, or with an empty one, that one, and at the worst "Unnamed".
void AddName(CVCard* card);
