#!/usr/bin/env bash
# Tries every row of the table in docs/mail-servers.md with the Dovecot of the distribution, and
# prints one line for each.
#
# Usage: servers.sh TOOL [MAILS]
#        MAILS is a folder of further messages (*.eml) for the long form. Broken headers are read in
#        different ways, so there differences are shown and are no failure.
#
# Dovecot delivers mail into a store and makes mail folders. Then the tool has to show the senders
# that Dovecot tells, and an address book that the tool makes has to survive that the folder
# "Contacts" is deleted by Dovecot. Wants root. Makes users named cmtrial-* and removes them.
set -Eeuo pipefail

tool=$(realpath "$1")
mails=${2:-}
domain=example.org
work=$(mktemp -d /tmp/contactmgr-servers-XXXXXX)
chmod 755 "$work"
store=$work/store
daemon=''
form=setup

fail() {
    echo "FAILED   $form: $*" >&2
    exit 1
}

stop_dovecot() {
    if [ -n "$daemon" ]; then
        kill "$daemon"
        wait "$daemon" || true
        daemon=''
    fi
}

clean_up() {
    stop_dovecot
    local user
    for user in cmtrial-vmail cmtrial-alice cmtrial-bob; do
        userdel "$user" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap clean_up EXIT
trap 'fail "line $LINENO; $(tail -n 9 "$work/dovecot.log")"' ERR

# start_dovecot MAIL_LOCATION USERDB: a Dovecot with a store in that place and no network ports.
start_dovecot() {
    stop_dovecot
    rm -rf "$work/run"
    cat >"$work/dovecot.conf" <<CONF
base_dir = $work/run
state_dir = $work/run
log_path = $work/dovecot.log
protocols =
ssl = no
first_valid_uid = 1
postmaster_address = postmaster@$domain
mail_location = $1
passdb {
  driver = static
  args = password=trial
}
namespace inbox {
  inbox = yes
  separator = /
}
$2
CONF
    dovecot -F -c "$work/dovecot.conf" &
    daemon=$!
    local tries
    for tries in {1..100}; do
        [ -S "$work/run/auth-userdb" ] && return
        sleep 0.1
    done
    fail "Dovecot has not started after $tries tries: $(tail -n 9 "$work/dovecot.log")"
}

doveadm() {
    command doveadm -c "$work/dovecot.conf" "$@"
}

# deliver USER FROM: a message comes in, as the mail transport agent hands it over.
deliver() {
    printf 'From: %s\nTo: <%s>\nSubject: Trial\n\nHello.\n' "$2" "$1" |
        /usr/lib/dovecot/dovecot-lda -c "$work/dovecot.conf" -d "$1"
}

# fill USER COLLEAGUE: mail for both, and a contact of the older web client.
fill() {
    deliver "$1" 'Carol Clay <carol@example.net>'
    deliver "$1" '=?utf-8?Q?J=C3=B6rg?= <joerg@example.com>'
    deliver "$1" 'Carol Clay <carol@example.net>'
    deliver "$1" '"Brook, Bob" <b.b@xn--bcher-kva.example>'
    deliver "$2" 'Dora Dean <dora@example.net>'
    doveadm mailbox create -u "$1" Sent Contacts
    printf 'From: %s\nContent-Type: text/plain; charset=utf-8\n\nNAME:Eve Elm\nEMAIL:eve@example.net\n' \
        "$1" | doveadm save -u "$1" -m Contacts
}

# as_owner COMMAND...: under the user id of the mail store.
as_owner() {
    setpriv --reuid="$owner" --regid="$(id -g "$owner")" --init-groups -- "$@"
}

contactmgr() {
    as_owner "$tool" --store "$location" --domain "$domain" "$@"
}

expect() {
    grep -qE -- "$1" "$work/list" || fail "no line like $1 in: $(cat "$work/list")"
}

# The senders of a mailbox as the mail server tells them and as the tool does.
compare_senders() {
    doveadm -f tab fetch -u "$user" hdr.from.address mailbox INBOX | tail -n +2 | sort -u \
        >"$work/server"
    sed -n 's/^INBOX-[^\t]*\t[^\t]*\t//p' "$work/list" | sort -u >"$work/tool"
    diff "$work/server" "$work/tool" >"$work/difference"
}

# What each row has to show, after fill.
check() {
    local name=${user%@*}
    [ "$(doveadm user -f uid "$user")" = "$(id -u "$owner")" ] || fail 'Dovecot has another user id'
    contactmgr mailbox set "$name@$domain" EnabledContactPlugins=15
    contactmgr --mailbox "$name" new 'FullName=Ann Lee' --email ann@example.com >"$work/list"
    expect '^VCARDPAB-1$'
    contactmgr --mailbox "$name" list >"$work/list"
    expect '^VCARDPAB-1	Ann Lee	ann@example.com$'
    expect '^TRELLISV7-.*	Eve Elm	eve@example.net$'
    [ "$owner" != cmtrial-vmail ] || [ "$kind" = one ] || expect "^UserStore-bob@$domain	"
    compare_senders || fail "other senders: $(cat "$work/difference")"
    doveadm mailbox list -u "$user" | sort | tr '\n' ' ' >"$work/list"
    expect '^Contacts INBOX Sent $'
    doveadm mailbox delete -u "$user" Contacts
    contactmgr --mailbox "${name^^}@Example.ORG" list >"$work/list"
    expect '^VCARDPAB-1	Ann Lee	ann@example.com$'
}

# Differences of real mail, shown and counted.
compare_mails() {
    local file
    for file in "$mails"/*.eml; do
        doveadm save -u "$user" -m INBOX "$file"
    done
    contactmgr --mailbox "${user%@*}" list >"$work/list"
    compare_senders || true
    echo "         $(wc -l <"$work/server") senders, of which the tool shows" \
        "$(comm -12 "$work/server" "$work/tool" | wc -l), and" \
        "$(comm -13 "$work/server" "$work/tool" | wc -l) others"
    sed 's/^/         /' "$work/difference"
}

# A store that the tool has to refuse, saying what it is.
check_refused() {
    deliver "$user" 'Carol Clay <carol@example.net>'
    if contactmgr --mailbox "${user%@*}" list >"$work/list" 2>&1; then
        fail 'the tool takes it'
    fi
    expect "$refusal"
}

try_row() {
    rm -rf "$store" "$work/home"
    mkdir -p "$store" "$work/home"
    chown cmtrial-vmail: "$store" "$work/home"
    case $kind in
        system)
            for owner in cmtrial-bob cmtrial-alice; do
                install -d -o "$owner" -g "$(id -g "$owner")" -m 700 "$work/home/$owner"
            done
            user=cmtrial-alice colleague=cmtrial-bob
            users='auth_username_format = %Ln
userdb {
  driver = passwd
}'
            ;;
        *)
            user=alice@$domain colleague=bob@$domain owner=cmtrial-vmail
            users="userdb {
  driver = static
  args = uid=cmtrial-vmail gid=cmtrial-vmail home=$store/home/%d/%n allow_all_users=yes
}"
            ;;
    esac
    start_dovecot "$server_location" "$users"
    if [ "$kind" = refused ]; then
        check_refused
    else
        fill "$user" "$colleague"
        check
    fi
    echo "ok       $form"
    if [ -n "$mails" ] && [ "$kind" != refused ]; then
        compare_mails
        mails='' # one form shows it
    fi
}

useradd --system --user-group --no-create-home --shell /usr/sbin/nologin cmtrial-vmail
for user in cmtrial-alice cmtrial-bob; do
    useradd --user-group --no-create-home --home-dir "$work/home/$user" "$user"
done

# The rows of the page. S/ is the store's folder, and what is not for the tool begins with "no:".
trim() {
    sed 's/[` ]*$//; s/^[` ]*//' <<<"$1"
}
rows=0
while IFS='|' read -r _ form server_location location _; do
    form=$(trim "$form")
    case $form in
        'system users'*) kind=system ;;
        'one mailbox'*) kind=one ;;
        *) kind=virtual ;;
    esac
    server_location=$(trim "$server_location")
    location=$(trim "$location")
    case $location in
        'the same') location=$server_location ;;
        'no: '*)
            kind=refused refusal=$(trim "${location#no: }")
            case $form in *'as seen') location=S/ ;; *) location=$server_location ;; esac
            ;;
    esac
    server_location=${server_location//S\//$store/}
    location=${location//S\//$store/}
    try_row
    rows=$((rows + 1))
done < <(sed -n '/^| Store | `mail_location`/,/^$/p' "$(dirname "$0")/../docs/mail-servers.md" |
    sed '1,2d;/^$/d')
[ "$rows" -ge 20 ] || fail "the page has $rows rows"
