# Completion of contactmgr(1) for bash: commands, options, properties, types, identifiers and
# mailboxes. Commands, options, properties and types come from the program's own help.
# Needs no other completion functions. Sourced by bash-completion at the first use.

# Splits a line into `words` as the shell does, without the quotes. `raw` is the last word as it
# stands in the line, and `quote` the quotation mark that is open in it.
_contactmgr_split()
{
    local line=$1 word= i c
    words=() raw= quote=
    for ((i = 0; i < ${#line}; ++i)); do
        c=${line:i:1}
        if [[ -z $quote && $c == [[:blank:]] ]]; then
            [[ -z $raw ]] || words+=("$word")
            word= raw=
            continue
        fi
        raw+=$c
        if [[ $c == '\' && $quote != "'" ]]; then
            i=$((i + 1))
            raw+=${line:i:1} word+=${line:i:1}
        elif [[ -n $quote && $c == "$quote" ]]; then
            quote=
        elif [[ -z $quote && $c == [\'\"] ]]; then
            quote=$c
        else
            word+=$c
        fi
    done
    words+=("$word")
}

# Writes `candidate` as it stands in the line, within `quote` if that is open. A sender chooses the
# name in an identifier, and the shell must not take a part of it for a command.
_contactmgr_quote()
{
    case $quote in
    '"')
        local special
        for special in '\' '"' '$' '`'; do
            candidate=${candidate//"$special"/"\\$special"}
        done
        ;;
    "'") candidate=${candidate//"'"/"'\\''"} ;;
    *) [[ $candidate != *[!a-zA-Z0-9@%+=:,./_-]* ]] || printf -v candidate %q "$candidate" ;;
    esac
}

# Each reads a part of the help of `command`.
_contactmgr_help()
{
    "$tool" $command --help 2>/dev/null
}

_contactmgr_commands()
{
    _contactmgr_help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'
}

_contactmgr_options()
{
    { _contactmgr_help; command= _contactmgr_help; } |
        sed -n 's/^  \(-h,\)\{0,1\}\(--[a-z-]*\).*/\2/p' | sort -u
}

_contactmgr_properties()
{
    _contactmgr_help | sed -n '/^Properties:/,$s/^Properties://;T;:a;p;n;ba' | tr -s ' ' '\n' |
        sed -n 's/..*/&=/p'
}

# The types of the list option $1, behind those that the word has already.
_contactmgr_types()
{
    local type done=
    [[ $current != *,* ]] || done=${current%,*},
    for type in $(_contactmgr_help | sed -n "/^  --$1 /{n;s/.*Types: //;s/, / /g;p;}"); do
        echo "$done$type="
    done
}

_contactmgr_stores()
{
    local begun=${current%"${current##*[=,]}"} store
    for store in personal older domain senders none; do
        echo "$begun$store"
    done
}

# What `list` or another command prints. Silent, for two seconds at most, and without waiting for
# what is held.
_contactmgr_run()
{
    timeout 2 "$tool" "${globals[@]}" --wait 0 "$@" 2>/dev/null
}

_contactmgr_ids()
{
    [[ -z $store || -z $mailbox ]] || _contactmgr_run list | cut -f 1 | grep -E "^($1)-"
}

# The domain is the one in the word, else that of the option or of the mailbox.
_contactmgr_domains()
{
    [[ $mailbox != *@* ]] || echo "${mailbox##*@}"
    [[ -z $domain ]] || echo "$domain"
}

_contactmgr_mailboxes()
{
    local of begun=${current#"${current%@*}"}
    [[ -n $store ]] || return
    of=$(_contactmgr_domains | tail -n 1)
    [[ @$of == "$begun"* ]] || of=${begun#@}
    [[ -z $of ]] || _contactmgr_run mailbox list "$of"
}

# Whether a word is an option whose value is the next word.
_contactmgr_takes_value()
{
    case $1 in
    --store | --mailbox | --domain | --book | --wait | --trace | --since | --type | --sort | --interval | \
        --from | --from-message | --email | --tel | --im | --adr | --of-domain | --format | --max | \
        --version | --vdir | --state) ;;
    *) return 1 ;;
    esac
}

_contactmgr_value_of()
{
    case $1 in
    --store | --book | --vdir) compgen -d -S / -- "$current" ;;
    --state) compgen -f -- "$current" ;;
    --version) printf '%s\n' 3.0 4.0 ;;
    --mailbox) _contactmgr_mailboxes ;;
    --domain | --of-domain) _contactmgr_domains ;;
    --from) _contactmgr_ids '.*' ;;
    --from-message) compgen -f -- "$current" ;;
    --type)
        echo VCARDPAB
        [[ $command == @(changes|watch) ]] || printf '%s\n' personal older domain senders TRELLISV7 UserStore INBOX
        ;;
    --sort) printf '%s\n' name id ;;
    --format)
        [[ $command == export ]] || printf '%s\n' mutt aerc plain json
        [[ $command != export ]] || printf '%s\n' vcard csv jcard jscontact
        ;;
    --wait) printf '%s\n' 0 2 10 ;;
    --email | --tel | --im | --adr) _contactmgr_types "${1#--}" ;;
    esac
}

# The candidates for an argument; $1 are there already.
_contactmgr_argument()
{
    case $command in
    '' | mailbox) _contactmgr_commands ;;
    show) [[ $1 -gt 0 ]] || _contactmgr_ids '.*' ;;
    edit) [[ $1 -gt 0 ]] || _contactmgr_ids VCARDPAB ;;
    export | merge) _contactmgr_ids VCARDPAB ;;
    delete) _contactmgr_ids 'VCARDPAB|TRELLISV7' ;;
    set)
        [[ $1 -gt 0 ]] || _contactmgr_ids VCARDPAB
        [[ $1 -eq 0 ]] || _contactmgr_properties
        ;;
    new) _contactmgr_properties ;;
    import) compgen -f -- "$current" ;;
    sync) [[ $1 -gt 0 ]] || compgen -d -S / -- "$current" ;;
    'mailbox list') _contactmgr_domains ;;
    'mailbox show' | 'mailbox renew') [[ $1 -gt 0 ]] || _contactmgr_mailboxes ;;
    'mailbox set')
        [[ $1 -gt 0 ]] || _contactmgr_mailboxes
        [[ $1 -eq 0 ]] || _contactmgr_properties
        [[ $current != EnabledContactPlugins=* ]] || _contactmgr_stores
        ;;
    esac
}

_contactmgr()
{
    local tool=$1 words raw quote word option= command= current candidate
    local arguments=0 globals=()
    local store=$CONTACTMGR_STORE mailbox=$CONTACTMGR_MAILBOX domain=$CONTACTMGR_DOMAIN
    _contactmgr_split "${COMP_LINE:0:COMP_POINT}"
    for word in "${words[@]:1:${#words[@]}-2}"; do
        if [[ -z $option && $word == --*=* ]]; then
            option=${word%%=*} word=${word#*=}
        fi
        if [[ -n $option ]]; then
            case $option in
            --store) store=$word ;;
            --mailbox) mailbox=$word ;;
            --domain) domain=$word ;;
            esac
            [[ $option != --@(store|mailbox|domain|book) ]] || globals+=("$option" "$word")
            [[ $option != --of-domain ]] || arguments=1
            option=
        elif _contactmgr_takes_value "$word"; then
            option=$word
        elif [[ $word == --of-server ]]; then
            arguments=1
        elif [[ $word == -* ]]; then
            :
        elif [[ -z $command || $command == mailbox ]]; then
            command+=${command:+ }$word
        else
            arguments=$((arguments + 1))
        fi
    done

    current=${words[-1]}
    local skip=$((${#raw} - ${#2}))
    COMPREPLY=()
    while IFS= read -r candidate; do
        [[ $candidate == "$current"* ]] || continue
        [[ $candidate != *[=/] ]] || compopt -o nospace 2>/dev/null
        _contactmgr_quote
        [[ -n $quote ]] || candidate=${candidate:skip} # readline replaces the end of the word alone
        COMPREPLY+=("$candidate")
    done < <(if [[ -n $option ]]; then
        _contactmgr_value_of "$option"
    elif [[ $current == -* ]]; then
        _contactmgr_options
    else
        _contactmgr_argument "$arguments"
    fi)
}

complete -F _contactmgr contactmgr
