#!/bin/sh
# Builds the simulator, starts it with a sample card and asks it over HTTP, as a web application
# would. See --help.
set -eu
cd "$(dirname "$0")"

usage() {
  cat <<'TEXT'
Usage: ./demo.sh [--keep | --web]

Installs what is missing with apt, builds the simulator, starts it with the card of
examples/cards/mustermann, asks for `status` and `read` and prints both answers.

  --keep   leaves the simulator in the foreground afterwards: type its commands, `quit` ends it
  --web    serves a page in place of all that, with buttons that insert, remove and swap sample
           cards, and prints its address; Ctrl-C ends it
TEXT
}

fail() {
  echo "demo.sh: $*" >&2
  exit 1
}

keep=
web=
case "${1-}" in
  '') ;;
  --keep) keep=yes ;;
  --web) web=yes ;;
  --help | -h) usage; exit 0 ;;
  *) usage >&2; exit 2 ;;
esac

port=5724
card=examples/cards/mustermann
folder=build/release
simulator=$folder/kv500-simulator

scripts/install.sh build demo
[ -z "$web" ] || scripts/install.sh web
echo "Building the simulator ..."
mkdir -p build
{ cmake --preset release && cmake --build --preset release --target kv500-simulator; } \
  >build/demo.log 2>&1 || { tail -n 30 build/demo.log >&2; fail "the build failed (build/demo.log)"; }
[ -z "$web" ] || exec node web/demo/serve.mjs --simulator $simulator
# Another setting of the port would mislead the demo.
[ ! -e $folder/config.txt ] || fail "$folder/config.txt is there; the demo runs with the defaults"

work=$(mktemp -d)
mkfifo "$work/commands"
output=$work/output
cleanup() {
  [ -z "${pid-}" ] || kill "$pid" 2>/dev/null || :
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

$simulator --card $card <"$work/commands" >"$output" 2>&1 &
pid=$!
exec 3>"$work/commands"

# The service tries the port for a second and finds the reader in the next second.
for _ in 1 2 3 4 5 6 7 8 9 10; do
  grep -q '^listening' "$output" && break
  kill -0 $pid 2>/dev/null ||
    fail "the simulator has ended; is port $port taken by another program? ($(tail -n 1 $folder/log.txt))"
  sleep 0.3
done
grep -q "^listening 127.0.0.1:$port" "$output" || fail "the simulator does not listen on port $port"
for _ in 1 2 3 4 5 6 7 8 9 10; do
  curl -s --noproxy '*' --max-time 5 "http://127.0.0.1:$port/?action=status" | grep -q OK_Card_Presence && break
  sleep 0.3
done

ask() {
  echo
  echo "\$ curl 'http://127.0.0.1:$port/?action=$1'"
  # The service answers in ISO-8859-15; most terminals use UTF-8.
  curl -sS --noproxy '*' --fail --max-time 20 "http://127.0.0.1:$port/?action=$1" >"$work/answer" ||
    fail "no answer from http://127.0.0.1:$port/"
  iconv -f ISO-8859-15 -t UTF-8 "$work/answer"
}
ask status
ask read
grep -q '"Nachname":"Mustermann"' "$work/answer" || fail "the card's data are not in the answer"

echo
echo "Try next: ./demo.sh --keep, then type: remove | insert examples/cards/bankkarte | unplug | plug"
echo "and look at http://127.0.0.1:$port/?action=status and http://127.0.0.1:$port/?action=read"
echo "On a machine with the service, kv500-check tells what is wrong and what to do."
echo quit >&3
wait $pid || fail "the simulator ended with status $?"
pid=
if [ -n "$keep" ]; then
  cleanup
  echo
  echo "The simulator runs; type its commands here (see $simulator --help), quit ends it."
  exec $simulator --card $card
fi
