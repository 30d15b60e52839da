#pragma once

#include "search/AddressIndex.h"
#include "server/MailFolder.h"

class CSession;

// Brings the messages of an index up to date with those of an open folder: reads the headers of new
// ones, and forgets those that have gone. Then sums up who wrote how often and how lately. False if
// a message could not be read, which is reported, or the folder could not be listed; the index then
// lacks it.
bool UpdateMessages(CSession& session, CMailFolder& inbox, CAddressIndex* index);
