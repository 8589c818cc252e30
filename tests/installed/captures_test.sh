#!/bin/sh
# Shows two captures through the installed dissector: hand-made messages, a damaged one among them, field by field; and
# the demo, recorded with `dumpcap -P -i lo -w demo.pcap` while `./dev demo` ran. `vxa dump` shows one link of it, too.
# Usage: captures_test.sh SOURCE_DIR TREE
set -eu
source=$1 tree=$2
. "$source/tests/installed/use.sh"
shown() { # CAPTURE OPTIONS...
  capture=$1
  shift
  tshark -X "lua_script:$tree/usr/share/vxa/vxa.lua" -r "$capture" -T fields -E separator=' ' "$@" 2>/dev/null
}
expect() { # WHAT WAS_SHOWN, and the expected lines on standard input
  echo "$2" > "$work/shown"
  diff - "$work/shown" >&2 || fail "$1 are not shown as they should be (<)"
}

# One TCP segment: the values of its three messages, joined by commas.
text2pcap -q -T 40000,7100 "$source/tests/data/capture.txt" "$work/capture.pcap"
expect "hand-made messages" "$(shown "$work/capture.pcap" -E separator=';' -e vxa.msgtype -e vxa.svcname -e vxa.handle \
  -e vxa.rmid -e vxa.xid.gtrid -e vxa.xid.bqual -e vxa.field.used -e vxa.field.number -e vxa.field.value \
  -e vxa.damaged)" <<'END'
149,3,1003;,BALANCE,;-1,0,0;7,0,0;47303031;4231;56,16;10,1,3,4;258,1,hi,FEFF;1
END

# The services' requests (3, 4), replies (1000 more) and failures (2000 more). One reply of ECHO broke off: its gateway
# died. TRANSFER is called four times: rolled back, refused, and twice over a gateway that is killed before the commit.
demo=$source/tests/data/demo.pcap.gz
expect "the services of the demo" "$(shown "$demo" -Y 'vxa.svcname != ""' -e vxa.svcname -e vxa.msgtype |
  LC_ALL=C sort | uniq -c | sed 's/^ *//')" <<'END'
8 BALANCE 1003
8 BALANCE 3
1 DEPOSIT 1003
1 DEPOSIT 3
1 ECHO 1003
2 ECHO 1004
2 ECHO 3
2 ECHO 4
1 FAIL 2003
1 FAIL 3
2 LATE 1004
2 LATE 4
1 NOWHERE 2003
1 NOWHERE 3
2 OPEN 1003
2 OPEN 3
3 TOUPPER 1003
3 TOUPPER 3
3 TRANSFER 1003
1 TRANSFER 2003
4 TRANSFER 3
1 WORDS 1003
1 WORDS 3
END
expect "the payments of the demo" "$(shown "$demo" -Y 'vxa.svcname == "TRANSFER"' -e vxa.field.number -e vxa.field.value)" <<'END'
1001,1002,1003 alice,bob,2500
1001,1002,1003,1004 alice,bob,2500,7500
1001,1002,1003 bob,alice,1
1001,1002,1003,1005 bob,alice,1,account bob does not cover the amount
1001,1002,1003 alice,bob,2500
1001,1002,1003,1004 alice,bob,2500,7500
1001,1002,1003 bob,alice,1500
1001,1002,1003,1004 bob,alice,1500,1000
END

# Nothing on the links stays unshown but the reply that broke off, and nothing is taken for damage.
expect "stray bytes of the demo" "$(shown "$demo" -Y 'tcp.len > 0 && !vxa' -e tcp.len)" <<'END'
70
END
expect "damages of the demo" "$(shown "$demo" -Y 'vxa.damaged || _ws.malformed' -e frame.number)" <<'END'

END

# The payment that is rolled back, after it was prepared: 8 bytes of used length, 16 for "alice", 8 for "bob", 8 for the
# amount, and in the reply 8 for the balance.
link=$(shown "$demo" -Y 'vxa.svcname == "TRANSFER"' -e tcp.stream | head -n 1)
expect "messages of vxa dump" "$(shown "$demo" -Y "tcp.stream == $link && tcp.len > 0" -e tcp.payload |
  perl -ne 'chomp; print pack "H*", $_' | vxa dump | grep '^[^ ]')" <<'END'
xa_start: msgtype 149, seqno 0, 49 bytes of CARRAY
xa_start reply: msgtype 1149, seqno 0, 0 bytes of no data
tpcall TRANSFER: msgtype 3, seqno 2, 40 bytes of FIELD
tpcall reply TRANSFER: msgtype 1003, seqno 2, 48 bytes of FIELD
xa_end: msgtype 150, seqno 3, 49 bytes of CARRAY
xa_end reply: msgtype 1150, seqno 3, 0 bytes of no data
xa_prepare: msgtype 112, seqno 4, 49 bytes of CARRAY
xa_prepare reply: msgtype 1112, seqno 4, 0 bytes of no data
xa_rollback: msgtype 114, seqno 5, 49 bytes of CARRAY
xa_rollback reply: msgtype 1114, seqno 5, 0 bytes of no data
END
echo "hand-made messages and the demo are shown as they are"
