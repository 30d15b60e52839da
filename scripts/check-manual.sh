#!/usr/bin/env bash
# Compares the manual with the program: each command and option of the help stands in the pages and
# the other way round, each property too, and each member of the JSON that is printed about the
# sample store stands in contactmgr-json(5). The code in README.md and libcontactmgr(3) has to be
# part of an example. Then mandoc and groff look for faults in the pages, if they are there.
#
# Usage: check-manual.sh TOOL FOLDER      FOLDER is made anew for the sample store.
set -euo pipefail

tool=$1
folder=$2
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root/man"
failures=0

# Compares two lists of lines: what, the help or the output, the pages.
compare() {
    if ! diff <(sort -u <<<"$2") <(sort -u <<<"$3") >"$folder/differences"; then
        printf '%s: < is the program, > is the manual\n' "$1" >&2
        grep '^[<>]' "$folder/differences" >&2
        failures=$((failures + 1))
    fi
}

commands() {
    "$tool" "$@" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'
}

# "COMMAND" and "COMMAND OPTION" for each.
options_in_help() {
    local option
    echo "$*"
    for option in $("$tool" "$@" --help | sed -n 's/^  \(-h,\)\{0,1\}\(--[a-z-]*\).*/\2/p'); do
        [ "$# $option" = "0 --help" ] || [ "$option" != --help ] || continue
        echo "$* $option"
    done
}

# The same from the pages' SYNOPSIS.
options_in_synopsis() {
    awk '/^\.Sh/ { inside = $2 == "SYNOPSIS" }
        inside && /^\.Nm/ { command = $0; sub(/^\.Nm contactmgr( Cm )?/, "", command); print command }
        inside { for (i = 1; i < NF; ++i)
            if ($i ~ /^\.?Fl$/) print command " -" $(i + 1) }' ./*.1
}

# "PAGE OPTION" from the section $1.
options_in_section() {
    awk -v section="$1" -v only="$2" '/^\.Sh/ { inside = $2 == section }
        inside && $0 ~ only { for (i = 1; i < NF; ++i)
            if ($i ~ /^\.?Fl$/ && $(i + 1) != "h") print FILENAME " -" $(i + 1) }' ./*.1
}

# The names of the items in a page, from a heading on up to the next.
items() {
    sed -n "/^\.S[hs] $2\$/,/^\.S[hs]/s/^\.It Cm //p" "$1" | sed 's/ , /\n/g'
}

properties() {
    "$tool" "$@" --help | sed -n '/^Properties:/,$s/^Properties://;T;:a;p;n;ba' | grep -o '[[:alpha:]]*'
}

rm -rf "$folder"
mkdir -p "$folder"
leaves=$(for command in $(commands); do
    [ "$command" = mailbox ] && commands mailbox | sed 's/^/mailbox /' || echo "$command"
done)
# shellcheck disable=SC2086
help=$(options_in_help; while read -r command; do options_in_help $command; done <<<"$leaves")
compare 'commands in contactmgr(1)' "$leaves" "$(items contactmgr.1 COMMANDS)"
compare 'options in SYNOPSIS' "$help" "$(options_in_synopsis)"
compare 'options in OPTIONS (< is SYNOPSIS)' "$(options_in_section SYNOPSIS '')" \
    "$(options_in_section OPTIONS '^.It Fl')"
compare 'properties of a contact' "$(properties set)" "$(items contactmgr-set.1 PROPERTIES)"
compare 'properties of a mailbox' "$(properties mailbox set)" \
    "$(items contactmgr-json.5 'A property file')"

"$root/scripts/demo.sh" "$tool" "$folder/demo" >/dev/null
members() {
    "$tool" --store "$folder/demo/store" --mailbox alice@example.org "$@" --json |
        sed 's/"properties":{[^}]*}/"properties":0/g' | grep -o '"[[:alpha:]]*":' | tr -d '":'
}
compare 'JSON of a contact' "$(members list)" "$(items contactmgr-json.5 'A contact')"
compare 'JSON of changes' "$(members changes --since 0)" \
    "$(items contactmgr-json.5 'A report of changes')"
export XDG_CACHE_HOME=$folder/cache
compare 'JSON of an answer' "$("$tool" --store "$folder/demo/store" --mailbox alice@example.org \
    query --format json '' | grep -o '"[[:alpha:]]*":' | tr -d '":')" \
    "$(items contactmgr-json.5 'An answer to a query')"
compare 'JSON of a telephone number' "$(members phones | grep -v -x 'number\|types')" \
    "$(items contactmgr-json.5 'A telephone number or a postal address')"
compare 'JSON of a mailbox' "$(members mailbox list example.org)" \
    "$(items contactmgr-json.5 'A mailbox')"
compare 'JSON of a property' "$(members mailbox show alice@example.org)" \
    "$(items contactmgr-json.5 'A property')"
printf '%s\r\n' BEGIN:VCARD VERSION:3.0 FN:Fay BDAY:1985-04-12 END:VCARD |
    "$tool" --store "$folder/demo/store" --mailbox alice@example.org import - >/dev/null
compare 'JSON of a birthday' "$(members birthdays)" "$(items contactmgr-json.5 'A birthday')"
printf 'BEGIN:VCARD\nFN:Ann Twin\nEND:VCARD\n%.0s' 1 2 >"$folder/twins.vcf"
"$tool" --store "$folder/demo/store" --mailbox alice@example.org import "$folder/twins.vcf" >/dev/null
compare 'JSON of duplicates' "$(members duplicates)" \
    "$(items contactmgr-json.5 'A group of duplicates')"
compare 'JSON of a poll' "$(members poll)" "$(items contactmgr-json.5 'A poll')"

# Whether a text, line by line, stands in one of the examples.
is_in_example() {
    for example in "$root"/examples/*.cpp; do
        if [[ -n $1 && $(<"$example") == *"$1"* ]]; then
            return
        fi
    done
    echo "$2: its code is not part of an example" >&2
    failures=$((failures + 1))
}
is_in_example "$(sed -n '/^```cpp$/,/^```$/{/^```/d;p;}' ../README.md)" README.md
is_in_example "$(sed -n '/^\.Sh EXAMPLES$/,/^\.Ed$/{/^\.Bd/,/^\.Ed/{/^\./d;p;};}' libcontactmgr.3)" \
    'libcontactmgr(3)'

if command -v mandoc >/dev/null && command -v groff >/dev/null; then
    for page in *.[1-9]; do
        faults=$(mandoc -T lint -W all "$page" 2>&1 | grep -v 'referenced manual not found\|mandoc\.db' || true
            groff -mandoc -ww -z -T utf8 "$page" 2>&1)
        if [ -n "$faults" ]; then
            printf '%s\n' "$faults" >&2
            failures=$((failures + 1))
        fi
    done
else
    echo 'The form of the pages is not checked: it needs mandoc and groff.' >&2
fi
exit $((failures > 0))
