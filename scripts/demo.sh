#!/usr/bin/env bash
# Lays out a sample mail store with all four kinds of contact, and walks, changes, exports and
# reports on the address book of one mailbox. Ends at the first command that fails or that prints
# something other than expected.
#
# Usage: demo.sh TOOL FOLDER      FOLDER is made anew, and stays for a look around.
set -euo pipefail

tool=$1
folder=$2
export CONTACTMGR_STORE=$folder/store
export CONTACTMGR_MAILBOX=alice@example.org
export XDG_CACHE_HOME=$folder/cache

# Prints a command and runs it; what it printed stands in $output.
run() {
    local word line='contactmgr'
    for word in "$@"; do
        case $word in
            *[!A-Za-z0-9@%+=:,./_-]*) line+=" '$word'" ;;
            *) line+=" $word" ;;
        esac
    done
    printf '\n$ %s\n' "$line"
    output=$("$tool" "$@")
    if [ -n "$output" ]; then
        printf '%s\n' "$output"
    fi
}

expect() {
    if ! grep -qE -- "$1" <<<"$output"; then
        echo "demo: expected a line like: $1" >&2
        exit 1
    fi
}

expect_none() {
    if grep -qE -- "$1" <<<"$output"; then
        echo "demo: expected no line like: $1" >&2
        exit 1
    fi
}

say() {
    printf '\n# %s\n' "$*"
}

# deliver FOLDER UNIQUE: puts the message on standard input into a Maildir folder.
deliver() {
    mkdir -p "$1/cur" "$1/new" "$1/tmp"
    cat >"$1/cur/$2.demo:2,S"
}

rm -rf "$folder"
mkdir -p "$CONTACTMGR_STORE"
say "A store in $CONTACTMGR_STORE, with two mailboxes in one domain"
run mailbox add alice@example.org
run mailbox add bob@example.org
run mailbox set --of-domain example.org EnabledContactPlugins=personal,older,domain,senders
run mailbox set alice@example.org 'FullName=Alice Archer'
run mailbox set bob@example.org 'FullName=Bob Brook' GivenName=Bob Surname=Brook \
    Organization=Example 'Title=Head of Mail' 'Street=1 Main St' City=Springfield \
    'Telephone=+1 555 0101' OtherMailbox=postmaster@example.org
run mailbox show alice@example.org --effective
expect '^EnabledContactPlugins.*15 .*example\.org/properties\.json'
run mailbox list example.org
expect '^bob'

inbox=$CONTACTMGR_STORE/example.org/alice
deliver "$inbox" 1767225600.M1P1 <<'MAIL'
From: Carol Clay <carol@example.net>
To: alice@example.org
Subject: Lunch
Date: Thu, 01 Jan 2026 00:00:00 +0000
Message-ID: <1@example.net>

At noon?
MAIL
deliver "$inbox" 1767225601.M2P1 <<'MAIL'
From: =?utf-8?Q?J=C3=B6rg_D=C3=BCne?= <joerg@example.com>
To: alice@example.org
Subject: Invoice
Date: Thu, 01 Jan 2026 00:00:01 +0000
Message-ID: <2@example.com>

Attached.
MAIL
deliver "$inbox" 1767225602.M3P1 <<'MAIL'
From: Ann Lee <ann@example.com>
To: alice@example.org
Subject: Hello
Date: Thu, 01 Jan 2026 00:00:02 +0000
Message-ID: <3@example.com>

Hello Alice.
MAIL
deliver "$inbox/.Contacts" 1136073600.M4P1 <<'MAIL'
From: alice@example.org
Subject: Frank Ford
Date: Sun, 01 Jan 2006 00:00:00 +0000
MIME-Version: 1.0
Content-Type: text/plain; charset=utf-8
Content-Transfer-Encoding: 8bit

NAME:Frank Ford
EMAIL:frank@example.net
BNAME:Ford & Söhne
BCITY:Köln
WPHONE:+49 221 5550102
NOTES:Kept by the older web client
MAIL
say 'Three messages lie in INBOX now, and a contact of the older web client in "Contacts"'

say 'The personal address book: one contact from fields, one from a vCard'
run new 'FullName=Ann Lee' GivenName=Ann Surname=Lee --email internet,pref=ann@example.com \
    --tel 'work=+1 555 0100' --adr 'home=;;1 Elm St;Springfield;;12345;USA'
ann=$output
cat >"$folder/dora.vcf" <<'VCARD'
BEGIN:VCARD
VERSION:3.0
FN:Dora Dean
N:Dean;Dora;;;
EMAIL;TYPE=INTERNET,PREF:dora@example.net
NOTE:Likes Elm St\, not Main St
END:VCARD
VCARD
run import "$folder/dora.vcf"
dora=$output

say 'All four stores in one walk; the mail from Ann is hidden behind her address book entry'
run list
for store in VCARDPAB TRELLISV7 UserStore INBOX; do
    expect "^$store-"
done
expect_none '^INBOX-.*ann@example\.com'
run query joerg
expect '^joerg@example\.com'

say 'What a mail client asks now and then: is anything new?'
run poll
version=${output#* }
run poll --since "$version"
expect "^unchanged $version\$"
run changes --since 0
before=${output##*version }

say 'Change a contact, make one, delete one'
run set "$ann" Jobtitle=Engineer --tel 'work=+1 555 0199' --tel 'cell,pref=+1 555 0123'
run new --from "$dora" 'FullName=Eve Elm' GivenName=Eve Surname=Elm --email eve@example.net
eve=$output
run delete "$dora"

say 'The walk, the contact, its vCard and the report of the changes'
run poll --since "$version"
expect '^changed '
run list
expect_none "^$dora	"
run show "$ann" --json
expect '"Jobtitle":"Engineer"'
run export "$ann"
expect '^TEL.*555 0123'
run changes --since "$before"
expect "^changed $ann\$"
expect "^created $eve\$"
expect "^deleted $dora\$"

say "Done. The store is in $CONTACTMGR_STORE."
