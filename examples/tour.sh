#!/bin/bash
# A Backint run recorded in a catalog service over TLS, with a password: tour.sh BUILD_FOLDER
set -euo pipefail
folder=$(mktemp -d)
coproc CATALOG {
    head -c 18 /dev/urandom | base64 >"$folder/password"
    exec "$1/sandbox/catalog_service" --user backint --password-file "$folder/password" --tls "$folder"
}
# shellcheck disable=SC2154 # the shell sets CATALOG_PID
trap 'kill "$CATALOG_PID" 2>/dev/null || true; wait; rm -rf "$folder"' EXIT
read -r url <&"${CATALOG[0]}"
"$1/examples/catalog_tour" "$url" --user backint --password-file "$folder/password" --ca-file "$folder/catalog.pem"
