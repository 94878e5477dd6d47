#!/bin/sh
# Prints the version for -v, and knows nothing else.
test "$1" = -v || exit 1
exec cat "${0%/*}/manifest"
