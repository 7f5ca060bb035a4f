#!/usr/bin/env bash
# Fails when a file under src/ includes a module it may not depend on.
#
# Includes are written from the source root ("core/log/logrow.h"), so each
# one names the module it reaches into. The allowed directions are those of
# docs/architecture.md (Modules):
#   core/support <- core/adb <- core/filter <- core/log <- core/screen, core/session
#   core/support <- core/text
#   core <- ui <- app, and core <- cli
# A module may always include itself. Every project include in src/ must
# name its module from the root (automoc's "file.moc" excepted).
#
#   scripts/check-includes.sh          checks src/
#   scripts/check-includes.sh DIR      checks DIR, laid out like src/
set -euo pipefail
cd "$(dirname "$0")/.."
root="${1:-src}"

grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$root" \
    --include='*.h' --include='*.cpp' --include='*.h.in' |
    awk -v root="$root/" '
    BEGIN {
        # What each module may include besides itself.
        may["core/support"] = ""
        may["core/adb"] = "core/support"
        may["core/filter"] = "core/support core/adb"
        may["core/log"] = "core/support core/adb core/filter"
        may["core/screen"] = "core/support core/adb core/filter core/log"
        may["core/session"] = "core/support core/adb core/filter core/log"
        may["core/text"] = "core/support"
        may["ui"] = "core"
        may["app"] = "core ui"
        may["cli"] = "core"
    }
    # core/<name>, ui, app or cli; empty for anything else.
    function module(path,   parts, n) {
        n = split(path, parts, "/")
        if (parts[1] == "core" && n >= 3) return "core/" parts[2]
        if ((parts[1] == "ui" || parts[1] == "app" || parts[1] == "cli") && n >= 2) return parts[1]
        return ""
    }
    function allowed(from, to,   list, n, i) {
        if (from == to) return 1
        n = split(may[from], list, " ")
        for (i = 1; i <= n; ++i)
            if (to == list[i] || index(to, list[i] "/") == 1) return 1
        return 0
    }
    {
        colon = index($0, ":")
        file = substr($0, 1, colon - 1)
        rest = substr($0, colon + 1)
        line = substr(rest, 1, index(rest, ":") - 1)
        split(rest, quoted, "\"")
        target = quoted[2]
        if (target ~ /\.moc$/) next  # generated beside the file by automoc
        from = module(substr(file, length(root) + 1))
        if (from == "") next
        to = module(target)
        if (to == "") {
            printf "%s:%s: \"%s\" does not name its module from the source root\n", file, line, target > "/dev/stderr"
            ++failures
        } else if (!allowed(from, to)) {
            printf "%s:%s: %s may not include %s (\"%s\")\n", file, line, from, to, target > "/dev/stderr"
            ++failures
        }
    }
    END {
        if (failures > 0) {
            printf "check-includes: %d include(s) against the module order (docs/architecture.md)\n", failures > "/dev/stderr"
            exit 1
        }
        printf "check-includes: every include in %s follows the module order\n", root
    }'
