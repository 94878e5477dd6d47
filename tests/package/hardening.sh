#!/bin/bash
# hardening.sh LIBRARY...: fails unless each is linked and compiled as cmake/harden.cmake has it.
set -euo pipefail
status=0

# lacks LIBRARY WHAT: a line for what is missing.
lacks() {
    echo "$1: $2"
    status=1
}

for library in "$@"; do
    dynamic=$(readelf -dW "$library")
    headers=$(readelf -lW "$library")
    symbols=$(readelf --dyn-syms -W "$library")
    grep -q 'GNU_RELRO' <<<"$headers" || lacks "$library" "no read-only relocations"
    grep -q 'BIND_NOW' <<<"$dynamic" || lacks "$library" "symbols are not bound at once"
    grep -q 'GNU_STACK.* RW ' <<<"$headers" || lacks "$library" "the stack is executable"
    grep -q 'TEXTREL' <<<"$dynamic" && lacks "$library" "code is changed while it is loaded"
    grep -q ' __stack_chk_fail' <<<"$symbols" || lacks "$library" "no stack protector"
    grep -q ' __[a-z]*_chk[@ ]' <<<"$symbols" || lacks "$library" "no fortified calls"
    # Until gcc 12 each program had the text of a failed assertion in itself.
    grep -q ' _ZSt21__glibcxx_assert_fail' <<<"$symbols" || grep -qa "Assertion '%s' failed" "$library" ||
        lacks "$library" "no assertions of the C++ library"
    [ "$(uname -m)" != x86_64 ] || objdump -d "$library" | grep endbr64 >/dev/null || lacks "$library" "no CET"
done
exit $status
