#!/usr/bin/env bash
# Asks the completion functions of bash, and of zsh if it is there, for the candidates behind a table
# of command lines, on the sample store.
#
# Usage: check-completion.sh TOOL FOLDER      FOLDER is made anew for the sample store.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
PATH=$(dirname "$1"):$PATH
folder=$2
"$root/scripts/demo.sh" "$1" "$folder" >/dev/null
export CONTACTMGR_STORE=$folder/store CONTACTMGR_MAILBOX=alice@example.org CONTACTMGR_DOMAIN=
cd "$folder"
# A name that the shell would run.
printf 'From: "`touch x`$O\x27Br\\\\" <mal@example.net>\n\n' >store/example.org/alice/cur/mal:2,S

# The candidates as bash puts them in the line, each in brackets.
in_bash() {
    bash -c '. "$0/completion/contactmgr.bash"
        COMP_LINE=$1 COMP_POINT=${#1}
        _contactmgr contactmgr "$2"
        [ ${#COMPREPLY[@]} -eq 0 ] || printf "[%s]" "${COMPREPLY[@]}"' "$root" "$1" "$2"
}

# The same of zsh, whose completion system is replaced by a part of it that prints.
in_zsh() {
    zsh -f -c 'setopt extended_glob
        compset() { [[ $PREFIX == ${~2}* ]] && PREFIX=${PREFIX##${~2}} }
        compadd() {
            local end= name
            while [[ $1 == -* ]] {
                [[ $1 != -- ]] || { shift; break }
                [[ $1 != -S ]] || { end=$2; shift }
                shift
            }
            for name; do [[ $name != $PREFIX* ]] || print -rn -- "[${(q)name}$end]"; done
        }
        _describe() { compadd -- ${${(P)@[-1]}%%:*} }
        _values() { PREFIX=${PREFIX##*,}; compadd -- $@[4,-1] }
        _files() { compadd -- *(N) }
        words=(${(z)2}) CURRENT=$#words PREFIX=${(Q)words[-1]}
        [[ $2 != *[^\\]" " ]] || { words+=(""); CURRENT=$#words PREFIX= }
        . "$1/completion/_contactmgr"' zsh "$root" "$1"
}

failures=0
expect() {
    if [ "$2" != "$3" ]; then
        printf '%s\n  expected %s\n  got      %s\n' "$1" "$2" "$3" >&2
        failures=$((failures + 1))
    fi
}

# A line and what the shells have to offer. Where a word has a part that stays, also the part that
# bash completes, and what zsh offers; - where that is left to its completion system.
while IFS='|' read -r line candidates end parts; do
    line=${line#?} line=${line%?}
    expect "bash: $line" "$candidates" "$(in_bash "$line" "${end:-${line##*[!\\] }}")"
    if [ "$parts" != - ] && command -v zsh >/dev/null; then
        expect "zsh: $line" "${parts:-$candidates}" "$(in_zsh "$line")"
    fi
done <<'TABLE'
"contactmgr "|[list][show][phones][addresses][birthdays][query][new][set][delete][duplicates][merge][edit][export][import][sync][changes][poll][watch][mailbox]
"contactmgr --mailbox x@y.z ex"|[export]
"contactmgr mailbox "|[add][list][set][show][renew]
"contactmgr poll --s"|[--since][--store]
"contactmgr --of"|
"contactmgr mailbox show --of"|[--of-domain][--of-server]
"contactmgr list --so"|[--sort]
"contactmgr list --type UserStore --sort "|[name][id]
"contactmgr list --type o"|[older]
"contactmgr changes --type "|[VCARDPAB]
"contactmgr --wait 1 phones --js"|[--json]
"contactmgr set V"|[VCARDPAB-1][VCARDPAB-3]
"contactmgr set I"|
"contactmgr merge VCARDPAB-1 V"|[VCARDPAB-1][VCARDPAB-3]
"contactmgr watch --interval 5 --s"|[--since][--store]
"contactmgr show INBOX-Carol\ "|[INBOX-Carol\ Clay\ \<carol@example.net\>]
"contactmgr --mailbox=nobody@example.org show "|
"contactmgr --domain=example.org mailbox renew bob"|[bob@example.org]
"contactmgr --store /nosuch show "|
"contactmgr --book /nosuch mailbox re"|[renew]
"contactmgr set VCARDPAB-1 Full"|[FullName=]
"contactmgr mailbox set --of-server Pos"|[PostalAddress=][PostCode=]
"contactmgr new --tel ce"|[cell=]
"contactmgr new --im work,pe"|[work,personal=]|work,pe|[personal=]
"contactmgr new --email=x Nick"|[Nickname=]
"contactmgr --mailbox b"|[bob@example.org]
"contactmgr mailbox renew bob@ex"|[@example.org]|@ex|[bob@example.org]
"contactmgr mailbox set b EnabledContactPlugins=older,s"|[older,senders]|older,s|[senders]
"contactmgr show 'INBOX-C"|[INBOX-Carol Clay <carol@example.net>]|INBOX-C|-
"contactmgr show "INBOX-\"\`"|[INBOX-\"\`touch x\`\$O'Br\\\\\" <mal@example.net>]|INBOX-\"\`|-
"contactmgr show 'INBOX-""|[INBOX-"`touch x`$O'\''Br\\" <mal@example.net>]|INBOX-"|-
"contactmgr query --format a"|[aerc]
"contactmgr import do"|[dora.vcf]
"contactmgr sync st"|[store/]||-
"contactmgr export --format jc"|[jcard]
"contactmgr export --version 4"|[4.0]
TABLE
exit $((failures > 0))
