#pragma once

#include <string>
#include <vector>

class CSession;

// Joins contacts of the address book into the first one (edit/CardMerge.h), saves it and
// deletes the others. Prints the identifier of the first one; as a dry run, the joined card
// instead, and nothing is changed. What differed is told.
//
// All are held until the end: nobody can change one that is about to be deleted. The first one is
// on the disk before the others go. So a death at any moment loses nothing, and the same merge
// again ends it; a contact that is deleted already is passed over. False if it fails, which is
// reported. Throws CUsageError for less than two contacts, or one of them twice.
bool MergeContacts(CSession& session, const std::vector<std::string>& ids, bool isDryRun);
