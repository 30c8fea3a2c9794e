# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Completion of keldoctl's command line in bash. It takes nothing of the bash-completion package
# but the way in which its file is found.

# Splits the command line before the cursor into words as the shell does, quotes and backslashes
# taken away. Sets the caller's `words`, the last of which is that at the cursor, `quote`, the quote
# that is open there, and `part`: how much of the last word readline leaves alone, for which colons
# and equals signs are borders of words, too, and so is the quote that is open.
_keldoctl_split() {
    local line=${COMP_LINE:0:COMP_POINT} character word='' is_word='' part_before i
    words=() quote='' part=0
    for ((i = 0; i < ${#line}; ++i)); do
        character=${line:i:1}
        case $quote$character in
            \'\' | \"\") quote='' part=$part_before ;;
            \'?* | \"[!\\]*) word+=$character ;;
            \\ | \"\\)
                ((++i))
                [[ $quote && ${line:i:1} != [\"\$\`\\] ]] && word+=\\
                word+=${line:i:1} is_word=1
                ;;
            [\'\"]) quote=$character part_before=$part part=${#word} is_word=1 ;;
            [[:blank:]])
                [[ $is_word ]] && words+=("$word")
                word='' is_word='' part=0
                ;;
            *)
                word+=$character is_word=1
                [[ $COMP_WORDBREAKS == *"$character"* ]] && part=${#word}
                ;;
        esac
    done
    words+=("$word")
}

# Quotes a text so that the shell reads it as it is, after the quote that is open, if any.
_keldoctl_quote() {
    local text=$1
    case $quote in
        \') text=${text//\'/\'\\\'\'} ;;
        \")
            text=${text//\\/\\\\}
            text=${text//\"/\\\"}
            text=${text//\$/\\\$}
            text=${text//\`/\\\`}
            text=${text//!/\"\\!\"}
            ;;
        *) [[ -z $text ]] || printf -v text %q "$text" ;;
    esac
    REPLY=$text
}

# Offers those of its arguments that begin with the word at the cursor.
_keldoctl_offer() {
    local candidate word=${words[-1]} REPLY
    for candidate; do
        if [[ $candidate == "$word"* ]]; then
            _keldoctl_quote "${candidate:part}"
            COMPREPLY+=("$REPLY")
        fi
    done
}

# Sets the caller's `root` to the panel's root directory.
_keldoctl_root() {
    local line
    root=/usr/local/kvr
    [[ -r /etc/kvr/kvr.conf ]] || return 0
    while IFS= read -r line || [[ $line ]]; do
        if [[ $line =~ ^[[:space:]]*PRODUCT_ROOT_D[[:space:]]+([^#[:space:]][^#]*) ]]; then
            root=${BASH_REMATCH[1]}
            root=${root%"${root##*[![:space:]]}"}
        fi
    done </etc/kvr/kvr.conf
}

# Offers the language option with each language that has a catalogue, and English.
_keldoctl_offer_languages() {
    local root catalogue name
    _keldoctl_root
    _keldoctl_offer --language=en-US
    for catalogue in "$root"/share/locale/*/LC_MESSAGES/keldoctl.mo; do
        name=${catalogue%/LC_MESSAGES/keldoctl.mo}
        name=${name##*/}
        # The catalogue of a language alone serves its country of the same name, as a rule.
        case $name in
            en_US) ;;
            [a-z][a-z]_[A-Z][A-Z]) _keldoctl_offer "--language=${name/_/-}" ;;
            cs) _keldoctl_offer --language=cs-CZ ;;
            ja) _keldoctl_offer --language=ja-JP ;;
            [a-z][a-z]) _keldoctl_offer "--language=$name-${name^^}" ;;
        esac
    done
}

# Offers the restart of each service that has a definition and is not among the words yet.
_keldoctl_offer_repairs() {
    local definition id given
    for definition in /service/*.xml; do
        [[ -e $definition ]] || continue
        id=${definition#/service/}
        id=restart-service:${id%.xml}
        for given in "${words[@]:0:${#words[@]}-1}"; do
            [[ $given != "$id" ]] || continue 2
        done
        _keldoctl_offer "$id"
    done
}

_keldoctl() {
    local words quote part
    COMPREPLY=()
    _keldoctl_split
    if ((${#words[@]} == 2)); then
        _keldoctl_offer --status --repair --help -h
        return
    fi
    if ((${#words[@]} == 3)) && [[ ${words[1]} == @(--status|--repair|--help|-h) ]]; then
        if [[ ${words[2]} == --language=* ]]; then
            _keldoctl_offer_languages
        else
            _keldoctl_offer --language=
        fi
    fi
    if [[ ${words[1]} == --repair ]]; then
        _keldoctl_offer_repairs
    fi
    # The option goes on, if it is the only candidate; else this does not matter.
    [[ ${COMPREPLY[*]} != *= ]] || compopt -o nospace
}

complete -F _keldoctl keldoctl
