#!/bin/sh
# Shows a capture of hand-made messages through the dissector and compares what tshark says of them.
# Usage: dissector_test.sh SOURCE_DIR
set -eu
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
text2pcap -q -T 40000,7100 "$source/tests/data/capture.txt" "$work/capture.pcap"
tshark -X "lua_script:$source/packaging/wireshark/vxa.lua" -d tcp.port==7100,vxa -r "$work/capture.pcap" \
  -T fields -E separator=';' -E aggregator=',' -e vxa.msgtype -e vxa.svcname -e vxa.handle -e vxa.rmid -e vxa.xid.gtrid \
  -e vxa.xid.bqual -e vxa.field.used -e vxa.field.number -e vxa.field.value -e vxa.damaged 2>/dev/null > "$work/said"
# One TCP segment: the values of its three messages, joined by commas.
cat > "$work/expected" <<'EOT'
149,3,1003;,BALANCE,;-1,0,0;7,0,0;47303031;4231;56,16;10,1,3,4;258,1,hi,FEFF;1
EOT
diff "$work/expected" "$work/said"
