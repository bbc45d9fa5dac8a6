# The part of scripts/demo that works with a real object store. Sourced; needs bash 4.

start_store() {
  say "Starting the object store"
  # It stops when this script ends, however it ends: it waits for the end of its standard input.
  coproc STORE { exec tests/object_store/object_store run "$run/store"; }
  trap stop_store EXIT
  local line
  while read -r line <&"${STORE[0]}"; do
    case $line in
      S3_ENDPOINT=*) endpoint=${line#*=} ;;
      S3_ACCESS_KEY=*) access_key=${line#*=} ;;
      S3_SECRET_KEY=*) secret_key=${line#*=} ;;
      ready) break ;;
    esac
  done
  [ "${line-}" = ready ] || fail "the object store did not start; its logs are in $run/store/log."
  tests/object_store/object_store bucket "$run/store" logs || fail "the object store made no bucket."
  echo "$endpoint"
}

stop_store() {
  local pid=${STORE_PID-} input=${STORE[1]-}
  [ -z "$input" ] || exec {input}>&-
  [ -z "$pid" ] || wait "$pid" || true
}

fetch_from_store() {
  local key
  key=$(tests/object_store/object_store list "$run/store" logs)
  [ -n "$key" ] || fail "no object arrived in the store; the lines of varnook above say why."
  archive=$run/downloaded.zip
  tests/object_store/object_store get "$run/store" "logs/$key" "$archive" || fail "$key could not be downloaded."
  echo "downloaded logs/$key"
}
