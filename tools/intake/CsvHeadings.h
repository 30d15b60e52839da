#pragma once

#include "intake/FieldCard.h"

#include <string>
#include <string_view>
#include <vector>

// What the columns of tables of contacts hold.

// A heading as the functions below know it: in small letters, without blanks around it.
std::string NormalHeading(std::string_view heading);

bool IsKnownHeading(std::string_view heading);

// Adds the fields of one line to a card. Fields behind the last heading are ignored.
void AddCsvFields(const std::vector<std::string>& headings, const std::vector<std::string>& fields,
                  CFieldCard* card);
