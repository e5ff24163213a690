# What the shell tests share. A command that fails ends the test and is named; `complain` lets it go on and fail later.
set -eEuo pipefail
shopt -s inherit_errexit
trap 'echo "FAILED: $0:$LINENO: $BASH_COMMAND" >&2' ERR
work=$(mktemp -d)
failed=0
trap 'code=$?; rm -rf "$work"; exit $((code > 0 ? code : failed))' EXIT

complain()
{
    echo "FAILED: $*" >&2
    failed=1
}

# COMMAND...: fails. A plain "!" ends no test.
not()
{
    if "$@"; then return 1; fi
}

# CODE TEXT COMMAND...: exits with the code and says the text.
ends()
{
    local code=$1 text=$2 got=0
    shift 2
    "$@" >"$work/out" 2>"$work/err" </dev/null || got=$?
    [[ $got -eq $code && $(cat "$work/out" "$work/err") == *"$text"* ]] && return
    complain "$* exited with $got, expected $code and \"$text\":"
    head -n 20 "$work/out" "$work/err" >&2
}

# QV6D: the test calls it as `qv6d`, in a folder that goes.
use_tool()
{
    PATH=$(dirname "$(realpath "$1")"):$PATH
    cd "$work"
    mkdir tmp
    export TMPDIR=$work/tmp
}

json() # FILE KEY: the value of the key where it first stands, on one line
{
    tr -d ' \n' <"$1" | grep -oE "\"$2\":(\[[^]]*\]|[^,}]*)" | sed 's/^"[^"]*"://; q'
}
