#!/usr/bin/env bash
# Runs the examples and `vxa call` against a development gateway, and checks what comes out: demo.sh BUILD_DIR
# Ends with 0 only when everything came out right.
set -uo pipefail

here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:?usage: demo.sh BUILD_DIR}" && pwd)
vxa=$build/tools/vxa
examples=$build/examples
work=$(mktemp -d)
export FDLFILE=$examples/ledger.bin
gateway=''
failures=0

step() { printf '\n-- %s\n' "$*"; }
right() { printf '   ok: %s\n' "$*"; }
wrong() { printf '   WRONG: %s\n' "$*"; failures=$((failures + 1)); }
expect() { # WHAT EXPECTED ACTUAL
  if [ "$2" = "$3" ]; then right "$1: $2"; else wrong "$1: expected '$2', not '$3'"; fi
}
indented() { sed 's/^/   /'; }

stop_gateway() { # SIGNAL
  [ -n "$gateway" ] || return 0
  kill "-$1" "$gateway" 2>/dev/null
  wait "$gateway" 2>/dev/null
  gateway=''
}
trap 'stop_gateway KILL; rm -rf "$work"' EXIT

# Starts a gateway and waits until it listens; its address is then in $address.
start_gateway() { # OPTIONS...
  : >"$work/log"
  "$vxa" gateway "$@" >"$work/log" 2>&1 &
  gateway=$!
  for _ in $(seq 100); do
    address=$(sed -n 's/^listening on //p' "$work/log")
    [ -n "$address" ] && return 0
    sleep 0.05
  done
  wrong "the gateway does not start"
  cat "$work/log"
  exit 1
}

call() { "$vxa" call --gateway "$address" --timeout 10 "$@" 2>"$work/said"; }
said() { sed -n 's/^vxa: //p' "$work/said"; }

record() { printf '%s\t%s\n' "$@"; }
ledger() { # SERVICE NAME VALUE...
  local service=$1
  shift
  record "$@" | call --field --text "$service"
}
balance() { ledger BALANCE ACCOUNT "$1" | sed -n 's/^BALANCE\t//p'; }

step "a gateway for development"
start_gateway --port 0 --exec 'WORDS=wc -w'
right "listens on $address"

step "a text file through TOUPPER, in a transaction that is committed"
call TOUPPER <"$here/../LICENSE" >"$work/upper"
expect "vxa call" "TOUPPER answered, committed" "$(said)"
if LC_ALL=C tr a-z A-Z <"$here/../LICENSE" | cmp -s - "$work/upper"; then
  right "$(wc -l <"$work/upper") lines came back in capitals"
else
  wrong "the text came back changed"
fi

step "a binary file through ECHO, in a transaction that is rolled back"
call --carray --rollback ECHO <"$FDLFILE" >"$work/echo"
expect "vxa call" "ECHO answered, rolled back" "$(said)"
if cmp -s "$FDLFILE" "$work/echo"; then right "$(wc -c <"$work/echo") bytes came back the same"; else wrong "bytes differ"; fi

step "the same from C programs"
"$examples/call" "$address" commit "hello from C" | indented || wrong "call, committed"
"$examples/call" "$address" rollback "hello again" | indented || wrong "call, rolled back"

step "two calls at once, answered out of order"
"$examples/async" "$address" | indented || wrong "async"

step "a service that is a shell command (wc -w)"
expect "words in the licence" "$(wc -w <"$here/../LICENSE")" "$(call WORDS <"$here/../LICENSE")"

step "a service that fails, and one that is not there"
call FAIL <<<7 >/dev/null && wrong "FAIL succeeded"
right "$(said)"
call NOWHERE <<<x >/dev/null && wrong "NOWHERE answered"
right "$(said)"
stop_gateway TERM

step "a gateway that dies in the middle of a reply"
start_gateway --port 0 --fault die=70@2
call ECHO <<<"is anybody there?" >/dev/null && wrong "the call succeeded"
right "$(said)"
stop_gateway KILL

step "a ledger: accounts on field buffers, in a database that outlives the gateway"
start_gateway --port 0 --db "$work/ledger.db"
port=${address##*:}
for account in alice bob; do ledger OPEN ACCOUNT $account >/dev/null || wrong "OPEN $account: $(said)"; done
ledger DEPOSIT ACCOUNT alice AMOUNT 10000 >/dev/null || wrong "DEPOSIT: $(said)"
expect "alice has" 10000 "$(balance alice)"
expect "bob has" 0 "$(balance bob)"

step "a payment that is rolled back leaves no trace (fb names)"
echo | "$examples/transfer_fb" "$address" alice bob 2500 rollback | indented || wrong "transfer_fb"
expect "alice has" 10000 "$(balance alice)"
expect "bob has" 0 "$(balance bob)"

step "a payment that is not covered is refused"
"$examples/transfer_fb" "$address" bob alice 1 commit </dev/null | indented && wrong "it was not refused"

# Pays, with the gateway killed between prepare and commit, and started again before the commit.
pay_over_a_kill() { # PROGRAM FROM TO CENTS
  local program=$1
  shift
  mkfifo "$work/enter"
  "$examples/$program" "$address" "$@" commit <"$work/enter" >"$work/paid" 2>&1 &
  local payer=$!
  exec 3>"$work/enter"
  for _ in $(seq 100); do
    grep -q '^prepared' "$work/paid" && break
    sleep 0.05
  done
  stop_gateway KILL
  start_gateway --port "$port" --db "$work/ledger.db"
  right "the gateway was killed, and is started again"
  echo >&3
  exec 3>&-
  wait $payer || wrong "$program"
  rm "$work/enter"
  grep -v '^\[' "$work/paid" | indented
}

step "a payment over a gateway that is killed between prepare and commit (fb names)"
pay_over_a_kill transfer_fb alice bob 2500
expect "alice has" 7500 "$(balance alice)"
expect "bob has" 2500 "$(balance bob)"

step "the same program with the FML names"
pay_over_a_kill transfer_fml bob alice 1500
expect "alice has" 9000 "$(balance alice)"
expect "bob has" 1000 "$(balance bob)"
stop_gateway TERM

if [ "$failures" -eq 0 ]; then
  printf '\nall came out right\n'
else
  printf '\n%d steps came out wrong\n' "$failures"
  exit 1
fi
