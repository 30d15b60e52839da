#pragma once

#include "core/Contact.h"

#include <memory>
#include <string>

class CSession;

// Reads the sender of the message in a file, or on standard input for "-", which is read to its
// end, as a mail client that writes to a pipe expects. The sender is a contact as the library makes
// them of INBOX: one address, and a name that is divided into given name and surname. A semicolon
// in the name, which would divide it anew in a card, becomes a comma.
//
// The message is text as a mail client has it: lines end with LF or CR LF, and the "From " line of
// an mbox may stand in front (RFC 5322, RFC 4155). The field is read as those of INBOX are
// (text/SenderReader.h). Where From is missing or names several people, Sender is taken (RFC 5322,
// 3.6.2). Null if there is no sender, which is reported.
std::unique_ptr<CContact> ReadMessageSender(const std::string& path, CSession& session);

// The identifier of the first contact of the address book that has the address of the sender,
// without regard to case; empty without one.
std::string FindAddressOf(CContact& sender, CSession& session);
