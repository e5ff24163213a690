#!/usr/bin/env bash
# How much of the code asserts: lines of tests/ beside those of the product, blank ones left out. Fails above a third,
# where tests cost more than they catch, and warns below a quarter.
set -euo pipefail
cd "$(dirname "$0")/../.."

git ls-files -- {tests,include,src,service,qv6d,examples}/'**' | grep -E '\.(cc?|cpp|h|hpp|in|py|m?js|ts|sh|bash|html|css|def)$' |
    xargs grep -cH . | awk -F '[/:]' '
    {
        folder = $1 == "tests" && NF > 3 ? $1 "/" $2 : $1
        if (!(folder in lines))
            order[++folders] = folder
        lines[folder] += $NF
        total[$1 == "tests"] += $NF
    }
    END {
        for (i = 1; i <= folders; ++i)
            printf "%7d  %s\n", lines[order[i]], order[i]
        share = 100 * total[1] / (total[0] + total[1])
        printf "%7d  lines that assert beside %d of the product: %.1f %%\n", total[1], total[0], share
        if (share < 25)
            print "less than a quarter asserts: is something untested?"
        if (share > 33)
            print "more than a third asserts: put cases into tables, and try each thing once"
        exit share > 33
    }'
