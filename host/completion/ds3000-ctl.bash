# bash completion for ds3000-ctl                                  -*- shell-script -*-
# SPDX-License-Identifier: MIT
# The program itself knows how a word can go on; this asks it.

_ds3000_ctl() {
    local cur cword words candidate
    _get_comp_words_by_ref -n =: cur cword words
    COMPREPLY=()
    while IFS=$'\t' read -r candidate _; do
        if [[ $candidate == :files ]]; then
            compopt -o filenames
            mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "${cur##*[=:]}")
        else
            COMPREPLY+=("$candidate")
        fi
    done < <("$1" complete -- "${words[@]:1:cword}" 2>/dev/null)
    # The shell puts what is found in place of what stands behind the last = or :.
    local kept=${cur%"${cur##*[=:]}"}
    COMPREPLY=("${COMPREPLY[@]#"$kept"}")
    if ((${#COMPREPLY[@]} == 1)) && [[ ${COMPREPLY[0]} == *[:-] ]]; then
        compopt -o nospace
    fi
}
complete -F _ds3000_ctl ds3000-ctl
