#!/usr/bin/env bash
# Completes addresses in mutt, neomutt and aerc as a user does, with the settings that
# man/contactmgr-query.1 gives, and prints one line for each completion.
#
# Usage: mail-clients.sh TOOL FOLDER
#        FOLDER is made anew. FOLDER/screens keeps what the terminal showed in each check.
#
# Each client runs in a terminal of tmux. What the user typed has to become the right text in the
# field "To", and the message has to be sent to that address alone. Ends with status 1 if a check
# failed.
set -euo pipefail

tool=$(realpath "$1")
folder=$(realpath -m "$2")
manual=$(realpath "$(dirname "$0")/../man/contactmgr-query.1")
mailbox=alice@example.org
store=$folder/store
screens=$folder/screens
queries=$folder/queries # a line for each call of the tool: its exit status and its last argument
sent=$folder/recipients # of the last message
terminal=contactmgr-$$  # of the tmux server
# shellcheck disable=SC2016 # a name with characters of the shell
lab='R&D $HOME *'

export HOME=$folder/home
export XDG_CONFIG_HOME=$HOME/.config XDG_DATA_HOME=$HOME/.local/share XDG_CACHE_HOME=$HOME/.cache
export XDG_RUNTIME_DIR=$folder/run
export PATH=$folder/bin:$PATH
export LC_ALL=C.UTF-8
unset TMUX MAIL MAILDIR EMAIL

in_tmux() {
    tmux -L "$terminal" "$@"
}
trap 'in_tmux kill-server 2>/dev/null || true' EXIT

# The store: contacts in the address book, a sender with the same surname as one of them.
lay_out_store() {
    contactmgr() { "$tool" --store "$store" --mailbox "$mailbox" "$@" >/dev/null; }
    mkdir -p "$store"
    contactmgr mailbox add "$mailbox"
    contactmgr mailbox set "$mailbox" EnabledContactPlugins=personal,older,domain,senders
    contactmgr new 'FullName=Jörg Müller' --email joerg@example.com
    contactmgr new 'FullName=Ann Clay' --email ann@example.com
    contactmgr new 'FullName=Lee, Dora' --email dora@example.com
    contactmgr new 'FullName=Joe "Big" Dean' --email joe@example.com
    contactmgr new "FullName=Pat O'Neil" --email pat@example.com
    contactmgr new 'FullName=Max; Moritz' --email max@example.com
    contactmgr new "FullName=$lab" --email lab@example.com
    contactmgr new 'FullName=Team -X' --email team@example.com
    local inbox=$store/example.org/alice
    mkdir -p "$inbox/cur" "$inbox/new" "$inbox/tmp"
    printf '%s\n' 'From: Carol Clay <carol@example.net>' "To: $mailbox" 'Subject: Lunch' \
        'Date: Thu, 01 Jan 2026 00:00:00 +0000' '' 'At noon?' >"$inbox/cur/1767225600.M1P1.host:2,S"
}

# What the clients call: the tool, a mail transport agent, an editor.
lay_out_programs() {
    mkdir -p "$folder/bin"
    cat >"$folder/bin/contactmgr" <<PROGRAM
#!/bin/sh
"$tool" "\$@"
status=\$?
for last; do :; done
printf '%s %s\n' "\$status" "\$last" >>"$queries"
exit \$status
PROGRAM
    cat >"$folder/bin/sendmail" <<PROGRAM
#!/bin/sh
cat >"$folder/message"
printf '%s\n' "\$@" | grep @ >"$sent.tmp"
mv "$sent.tmp" "$sent"
PROGRAM
    cat >"$folder/bin/wait-for-enter" <<'PROGRAM'
#!/bin/sh
echo 'Enter ends the editor'
read -r line
PROGRAM
    chmod +x "$folder/bin/"*
}

# from_manual FIRST LAST: the lines of the man page from one to the other, for this store.
from_manual() {
    sed -n "/^$1/,/^$2/p" "$manual" | sed -e '/^\./d' -e 's/\\e$/\\/' -e "s|/var/vmail|$store|" \
        -e "s|alice@example.org|$mailbox|"
}

lay_out_settings() {
    local aerc=$XDG_CONFIG_HOME/aerc
    mkdir -p "$aerc" "$XDG_DATA_HOME" "$XDG_CACHE_HOME"
    mkdir -m 700 "$XDG_RUNTIME_DIR"
    cat >"$HOME/.muttrc" <<SETTINGS
set folder = "$store/example.org/alice"
set spoolfile = "$store/example.org/alice"
set from = "$mailbox"
set editor = true
set sendmail = "$folder/bin/sendmail"
set copy = no
set abort_unmodified = no
set abort_nosubject = no
SETTINGS
    from_manual 'set query_command' 'bind editor' >>"$HOME/.muttrc"
    cp "$HOME/.muttrc" "$HOME/.neomuttrc"
    cat >"$aerc/accounts.conf" <<SETTINGS
[alice]
source = maildirpp://$store/example.org/alice
outgoing = $folder/bin/sendmail
from = Alice Archer <$mailbox>
default = INBOX
SETTINGS
    chmod 600 "$aerc/accounts.conf"
    from_manual '\[compose\]' '.Ed' >"$aerc/aerc.conf"
    echo 'editor = wait-for-enter' >>"$aerc/aerc.conf"
    cp /usr/share/aerc/binds.conf "$aerc"
}

screen() {
    in_tmux capture-pane -p -t client | sed 's/ *$//'
}

# keep NAME: adds the screen to the file of the check, below a title.
keep() {
    { printf -- '---- %s\n' "$1" && screen | sed '/^$/d'; } >>"$log"
}

# wait_for WHAT COMMAND...: until the command succeeds; a failure after 15 s.
wait_for() {
    local what=$1 end=$((SECONDS + 15))
    shift
    until "$@"; do
        if [ "$SECONDS" -ge "$end" ]; then
            keep "waited in vain for $what" 2>/dev/null
            reason="no $what"
            return 1
        fi
        sleep 0.02
    done
}

shows() {
    screen | grep -qF -- "$1"
}

# What stands in the field "To", without quotes that a name does not need, which aerc puts around most
# names. In aerc the field "From" is at its right.
field() {
    screen | sed -nE -e 's/ *From: .*//' -e 's/((^ *To:|,) *)"([^",;\\]*)" </\1\3 </g' \
        -e 's/^ *To: *//p' | head -n 1
}
field_is() {
    [ "$(field)" = "$1" ]
}
has_field() {
    screen | grep -q '^ *To:'
}
has_no_field() {
    ! has_field
}

# The addresses in a text, and in the list of answers.
addresses_in() {
    grep -oE '[a-z]+@example\.(com|net)' <<<"$1" | paste -s -d ' '
}
answers_are() {
    [ "$(addresses_in "$(screen | sed '/^ *To:/d')")" = "$1" ]
}

# The last call of the tool: exit status and what was looked for.
was_asked() {
    [ -e "$queries" ] && [ "$(tail -n 1 "$queries")" = "$1" ]
}

keys() {
    in_tmux send-keys -t client "$@"
}

start() {
    log=$screens/$client-start.txt
    in_tmux new-session -d -x 120 -y 24 -s client "$client"
    wait_for 'start of the client' shows "$started"
}

stop() {
    in_tmux kill-session -t client 2>/dev/null || true # the client may have ended
}

# What differs between the clients: how a completion is asked for, how an answer is chosen, how a
# message that has its recipients is sent, and how it is thrown away.
ask_in_mutt() {
    keys Tab
}
choose_in_mutt() { # NUMBER ANSWERS
    [[ $2 == *' '* ]] || return 0 # a single answer is taken at once
    wait_for "answers $2" answers_are "$2" || return
    keep 'the answers'
    local number # the first answer is marked from the start
    for ((number = 1; number < $1; number++)); do
        keys Down
    done
    keys Enter
}
send_in_mutt() {
    keys Enter
    wait_for 'question for the subject' shows 'Subject:' || return
    keys Enter
    wait_for 'composed message' shows '-- Attachments' || return
}
abort_in_mutt() {
    keys C-g
}

ask_in_aerc() {
    : # aerc asks by itself
}
is_marked() { # the answer with this address is shown in reverse
    local escape=$'\033'
    in_tmux capture-pane -p -e -t client |
        grep -qE "$escape\[([0-9]+;)*7m($escape\[[34]9m)*[^$escape]*<$1>"
}
choose_in_aerc() { # NUMBER ANSWERS
    wait_for "answers $2" answers_are "$2" || return
    keep 'the answers'
    local address
    # shellcheck disable=SC2013 # words
    for address in $(cut -d ' ' -f "-$1" <<<"$2"); do
        keys Down
        wait_for "mark on $address" is_marked "$address" || return
    done
    keys Enter
}
send_in_aerc() {
    keys Tab
    keys -l Trial
    wait_for subject shows 'Subject: Trial' || return
    keys Tab Enter
    wait_for 'composed message' shows 'Send this email?' || return
}
abort_in_aerc() {
    keys C-x
    keys -l abort
    keys Enter
}

# complete TYPED ANSWERS NUMBER FIELD: the answers to what is typed, of which the one with that number
# is chosen. Without answers what was typed stays.
complete() {
    local typed=$1 answers=$2 number=$3 field=$4
    rm -f "$queries" "$sent"
    keys "$compose"
    wait_for 'field To' has_field || return
    keys -l -- "$typed"
    wait_for "field $typed" field_is "$typed" || return
    "ask_in_$manner"
    if [ "$answers" = none ]; then
        wait_for 'call of the tool' was_asked "1 $typed" || return
        keys -l +
        wait_for "field $typed+" field_is "$typed+" || return
        keep 'no answer'
        "abort_in_$manner"
        wait_for 'list of messages' has_no_field
        return
    fi
    wait_for 'call of the tool' was_asked "0 ${typed##*, }" || return
    "choose_in_$manner" "$number" "$answers" || return
    wait_for "field $field" field_is "$field" || return
    "send_in_$manner" || return
    wait_for "field $field" field_is "$field" || return
    keep 'the message'
    keys y
    wait_for 'message sent' test -e "$sent" || return
    wait_for 'list of messages' has_no_field || return
    reason="sent to $(paste -s -d ' ' "$sent")"
    [ "$(paste -s -d ' ' "$sent")" = "$(addresses_in "$field")" ]
}

# What is shown, what is typed, the answers, which is chosen, what then stands in the field.
rows() {
    local joerg='joerg@example.com	1	Jörg Müller <joerg@example.com>'
    cat <<ROWS
an accent left out	muller	$joerg
an accent written out	mueller	$joerg
an accent in capitals	MÜLLER	$joerg
two words, the last one first	mull jö	$joerg
two answers, the address book first	clay	ann@example.com carol@example.net	1	Ann Clay <ann@example.com>
two answers, the sender second	clay	ann@example.com carol@example.net	2	Carol Clay <carol@example.net>
a sender	carol	carol@example.net	1	Carol Clay <carol@example.net>
no answer	zebra	none	0	
a second recipient	carol@example.net, muller	joerg@example.com	1	carol@example.net, Jörg Müller <joerg@example.com>
a comma in the name	lee	dora@example.com	1	"Lee, Dora" <dora@example.com>
a quote in the name	dean	joe@example.com	1	"Joe \\"Big\\" Dean" <joe@example.com>
a semicolon in the name	moritz	max@example.com	1	"Max; Moritz" <max@example.com>
an apostrophe typed	o'neil	pat@example.com	1	Pat O'Neil <pat@example.com>
shell characters typed	r&d \$home *	lab@example.com	1	$lab <lab@example.com>
a hyphen typed first	-x	team@example.com	1	Team -X <team@example.com>
a shell command typed	\$(touch ran)\`touch ran\`;touch ran	none	0	
ROWS
}

report() { # ok|FAILED WHAT
    printf '%-8s %-8s %s\n' "$1" "$client" "$2"
    [ "$1" = ok ] || failures=$((failures + 1))
}

try_client() {
    local what typed answers number field
    if ! start; then
        report FAILED "$reason"
        return
    fi
    while IFS=$'\t' read -r what typed answers number field <&3; do
        log=$screens/$client-${what//[^a-z]/-}.txt
        if complete "$typed" "$answers" "$number" "$field"; then
            report ok "$what: $typed"
        else
            report FAILED "$what: $typed: $reason"
            stop
            start || break
        fi
    done 3< <(rows)
    stop
}

rm -rf "$folder"
mkdir -p "$screens"
cd "$folder"
lay_out_store
lay_out_programs
lay_out_settings
failures=0
in_tmux -f /dev/null -u start-server ';' set-option -g exit-empty off
client=mutt manner=mutt compose=m started='Mutt: '
try_client
client=neomutt started='NeoMutt: '
try_client
client=aerc manner=aerc compose=C started=Connected
try_client
client=all
if [ -z "$(find "$folder" -name ran)" ]; then
    report ok 'no typed command was run'
else
    report FAILED 'a typed command was run'
fi
echo "$failures failed; the screens are in $screens"
[ "$failures" -eq 0 ]
