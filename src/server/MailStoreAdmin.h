#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct _tMailServer;

// What an administrator does to a mail store: lays out mailboxes and fills in their properties.
// Names are those of CMailbox::Open, with its last errors 87, 6 and 3. Any thread.

// Makes the mailbox with its folders `cur`, `new` and `tmp`, and the folders on the way to it. What
// a failure or a dead process leaves half made is no mailbox yet; the next call completes it.
// Last error 183: the mailbox exists.
bool CreateMailbox(_tMailServer* server, const char* name, const char* domain);

struct CMailboxPropertySetting
{
    std::string name;
    std::string value; // UTF-8; empty removes the mailbox's own value
};

// Sets all given properties in the mailbox's own file, or none: the file is written anew in the
// mailbox's `tmp`, flushed and renamed into place, so that a reader and a power cut find the old
// or the new one. All that is not named stays. A registered number property, and one that the file
// holds as a number or a truth value, takes a value of that type; any other is a text.
// Last error 87: an empty name, text that is no UTF-8, or a value of the wrong type; 13: the
// present file is no JSON object, or nested deeper than 64 levels; 33: another process is setting
// properties at this moment; 223: the file would be over 1 MB.
bool SetMailboxProperties(_tMailServer* server, const char* name, const char* domain,
                          const std::vector<CMailboxPropertySetting>& settings);

struct CPropertyFileFault
{
    std::string path;
    std::uint32_t line = 0; // counted from 1; 0 where the file cannot be read at all
};

// Reads the property files of the mailbox, of its domain and of the server. False at the first
// that cannot be used, which *fault then names, with last error 13 (no JSON object), 223 (over
// 1 MB) or what kept it from being read. Another failure leaves *fault as it was.
bool CheckPropertyFiles(_tMailServer* server, const char* name, const char* domain,
                        CPropertyFileFault* fault);
