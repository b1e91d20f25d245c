# SPDX-License-Identifier: Apache-2.0
# Inclusive instruction counts per function from one callgrind output file (events: Ir).
# Prints "<inclusive> <self> <function>" per function, and "<total> <total> TOTAL" for the file.
# A function's code inlined from other files (fi=/fe=) stays the function's: only fn= starts a new
# one, so each function is counted whole. Calls of a function to itself are not added twice.
function name_of(field, kind,    id, rest) {
    # "(12) name" defines id 12; "(12)" refers to it.
    if (match(field, /^\([0-9]+\)/)) {
        id = substr(field, 2, RLENGTH - 2)
        rest = substr(field, RLENGTH + 1)
        sub(/^ /, "", rest)
        if (rest != "") names[kind, id] = rest
        return names[kind, id]
    }
    return field
}
/^fn=/ { fn = name_of(substr($0, 4), "fn"); in_call = 0; next }
/^cfn=/ { callee = name_of(substr($0, 5), "fn"); next }
/^cfi=|^cfl=/ { next }
/^calls=/ { in_call = 1; next }
/^summary:/ { total = $2; next }
/^[0-9+*-]/ {
    cost = $NF
    if (in_call) {
        if (callee != fn) incl[fn] += cost
        in_call = 0
    } else {
        self[fn] += cost
        incl[fn] += cost
    }
    next
}
END {
    for (f in incl) printf "%d %d %s\n", incl[f], self[f], f
    printf "%d %d TOTAL\n", total, total
}
