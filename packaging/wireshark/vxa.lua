-- Dissector of the gateway protocol for Wireshark and tshark.
--
--   tshark -X lua_script:vxa.lua -r capture.pcapng -V
--
-- It knows the 136-byte header by name, the message types, and the payloads of strings, field buffers and XIDs. A link is
-- recognised by the magic number of its first message, on whatever port; messages are reassembled over TCP segments by
-- their datalen.

local vxa = Proto("vxa", "Vesk gateway protocol")

local HEADER = 136
local MAGIC = 0x90352082
local LONGEST = 64 * 1024 * 1024 -- a datalen beyond this is damage, not a message

local requests = {
  [3] = "tpcall", [4] = "tpacall", [26] = "unsolicited", [28] = "acknowledgement", [112] = "xa_prepare",
  [113] = "xa_commit", [114] = "xa_rollback", [116] = "xa_commit one phase", [149] = "xa_start", [150] = "xa_end",
}
local msgtypes = {}
for code, name in pairs(requests) do
  msgtypes[code] = name
  msgtypes[code + 1000] = name .. " reply"
  msgtypes[code + 2000] = name .. " failure"
  msgtypes[code + 3000] = name .. " reply (3000)"
end

local payload_types = {
  [1] = "struct", [2] = "field buffer", [3] = "string", [4] = "bytes", [5] = "start block", [9] = "header only",
  [11] = "controlled struct", [12] = "controlled field buffer",
}
local field_types = { "char", "short", "int", "long", "float", "double", "string", "carray" }

-- Header fields: name, kind, offset, length, and what the kind needs.
local header = {
  { "magic", ProtoField.uint32("vxa.magic", "Magic", base.HEX), 0, 4 },
  { "seqno", ProtoField.int32("vxa.seqno", "Sequence number"), 4, 4 },
  { "type", ProtoField.int32("vxa.type", "Payload type", base.DEC, payload_types), 8, 4 },
  { "size", ProtoField.int32("vxa.size", "Capacity"), 12, 4 },
  { "msgtype", ProtoField.int32("vxa.msgtype", "Message type", base.DEC, msgtypes), 16, 4 },
  { "result", ProtoField.int32("vxa.result", "Result"), 20, 4 },
  { "aux", ProtoField.int32("vxa.aux", "Aux"), 28, 4 },
  { "txid", ProtoField.bytes("vxa.txid", "Transaction"), 40, 12 },
  { "subtype", ProtoField.stringz("vxa.subtype", "Subtype"), 52, 16 },
  { "svcname", ProtoField.stringz("vxa.svcname", "Service"), 68, 32 },
  { "datalen", ProtoField.int32("vxa.datalen", "Payload length"), 100, 4 },
  { "flags", ProtoField.uint32("vxa.flags", "Flags or error number", base.HEX), 104, 4 },
  { "cd", ProtoField.int32("vxa.cd", "Call descriptor"), 108, 4 },
  { "reqctl", ProtoField.uint32("vxa.reqctl", "Request control", base.HEX), 116, 4 },
  { "handle", ProtoField.int32("vxa.handle", "XA handle"), 124, 4 },
  { "rmid", ProtoField.int32("vxa.rmid", "Resource manager"), 128, 4 },
}
local payload = {
  text = ProtoField.string("vxa.text", "Text"),
  data = ProtoField.bytes("vxa.data", "Data"),
  trailer = ProtoField.bytes("vxa.trailer", "Trailer"),
  format = ProtoField.int64("vxa.xid.format", "Format"),
  gtrid = ProtoField.bytes("vxa.xid.gtrid", "Global transaction"),
  bqual = ProtoField.bytes("vxa.xid.bqual", "Branch qualifier"),
  used = ProtoField.uint32("vxa.field.used", "Used length"),
  key = ProtoField.uint32("vxa.field.key", "Key"),
  number = ProtoField.uint32("vxa.field.number", "Number", base.DEC, nil, 0xFFFFFF),
  value = ProtoField.string("vxa.field.value", "Value"),
}
local damaged = ProtoExpert.new("vxa.damaged", "Damaged payload", expert.group.MALFORMED, expert.severity.ERROR)

local all = {}
for _, field in ipairs(header) do all[#all + 1] = field[2] end
for _, field in pairs(payload) do all[#all + 1] = field end
vxa.fields = all
vxa.experts = { damaged }

local function align8(n) return math.floor((n + 7) / 8) * 8 end

-- The value of the slot at offset at as text, and the slot's length; nil when the slot leaves the buffer.
local function field_value(tvb, at, used, kind)
  local room = used - at
  if kind == 7 then
    for i = at + 4, used - 1 do
      if tvb(i, 1):uint() == 0 then return tvb(at + 4, i - at - 4):string(), align8(i - at + 1) end
    end
    return nil
  elseif kind == 8 then
    local length = room >= 8 and tvb(at + 4, 4):uint() or room
    if length > room - 8 then return nil end
    return length > 0 and tostring(tvb(at + 8, length):bytes()) or "", align8(8 + length)
  elseif kind == 6 then
    if room < 16 then return nil end
    return tostring(tvb(at + 8, 8):float()), 16
  elseif room < 8 then
    return nil
  elseif kind == 1 then
    return tvb(at + 4, 1):string(), 8
  elseif kind == 2 then
    return tostring(tvb(at + 4, 2):int()), 8
  elseif kind == 5 then
    return tostring(tvb(at + 4, 4):float()), 8
  end
  return tostring(tvb(at + 4, 4):int()), 8
end

local function dissect_fields(tvb, tree)
  local used = tvb:len() >= 8 and tvb(4, 4):uint() or 0
  if used < 8 or used > tvb:len() then
    tree:add_proto_expert_info(damaged)
    return
  end
  tree:add(payload.used, tvb(4, 4))
  local at = 8
  while at < used do
    local key = used - at >= 8 and tvb(at, 4):uint() or 0
    local kind = math.floor(key / 2 ^ 26)
    local value, length = field_value(tvb, at, used, kind)
    if not value or not field_types[kind] or at + length > used then
      tree:add_proto_expert_info(damaged)
      return
    end
    local field = tree:add(vxa, tvb(at, length), string.format("Field %d (%s): %s", key % 2 ^ 24, field_types[kind], value))
    field:add(payload.key, tvb(at, 4))
    field:add(payload.number, tvb(at, 4))
    field:add(payload.value, tvb(at + 4, length - 4), value)
    at = at + length
  end
end

-- An XID lies as in the memory of the sender: three 64-bit numbers, little-endian, then the data.
local function dissect_xid(tvb, tree)
  if tvb:len() < 24 then return end
  tree:add_le(payload.format, tvb(0, 8))
  local gtrid, bqual = tvb(8, 4):le_uint(), tvb(16, 4):le_uint()
  if 24 + gtrid + bqual > tvb:len() then
    tree:add_proto_expert_info(damaged)
    return
  end
  if gtrid > 0 then tree:add(payload.gtrid, tvb(24, gtrid)) end
  if bqual > 0 then tree:add(payload.bqual, tvb(24 + gtrid, bqual)) end
end

local function dissect_payload(tvb, tree, kind, msgtype, reqctl)
  local trailer = math.floor(reqctl / 0x04000000) % 2 == 1 and reqctl % 256 or 0
  if trailer > 0 and trailer <= tvb:len() then
    tree:add(payload.trailer, tvb(tvb:len() - trailer, trailer))
    if trailer == tvb:len() then return end
    tvb = tvb(0, tvb:len() - trailer):tvb()
  end
  if msgtype % 1000 >= 112 then
    dissect_xid(tvb, tree)
  elseif kind == 2 then
    dissect_fields(tvb, tree)
  elseif kind == 3 then
    tree:add(payload.text, tvb())
  else
    tree:add(payload.data, tvb())
  end
end

local function dissect_message(tvb, pinfo, root)
  local tree = root:add(vxa, tvb())
  for _, field in ipairs(header) do tree:add(field[2], tvb(field[3], field[4])) end
  local msgtype, kind, reqctl = tvb(16, 4):int(), tvb(8, 4):int(), tvb(116, 4):uint()
  local name = msgtypes[msgtype] or ("message " .. msgtype)
  local service = tvb(68, 32):stringz()
  tree:append_text(", " .. name .. (service ~= "" and " " .. service or ""))
  pinfo.cols.protocol = "VXA"
  pinfo.cols.info:append(" " .. name .. (service ~= "" and " " .. service or ""))
  if tvb:len() > HEADER then
    dissect_payload(tvb(HEADER):tvb(), tree:add(vxa, tvb(HEADER), "Payload"), kind, msgtype, reqctl)
  end
  return tvb:len()
end

local function message_length(tvb, _, offset)
  local datalen = tvb(offset + 100, 4):int()
  if datalen < 0 or datalen > LONGEST then datalen = 0 end
  return HEADER + datalen
end

function vxa.dissector(tvb, pinfo, tree)
  if tvb:len() >= 4 and tvb(0, 4):uint() ~= MAGIC then return 0 end
  pinfo.cols.info = ""
  dissect_tcp_pdus(tvb, tree, HEADER, message_length, function(message, info, root)
    return dissect_message(message, info, root)
  end)
  return tvb:len()
end

-- For captures that begin in the middle of a link: Decode As, or -d tcp.port==7100,vxa.
DissectorTable.get("tcp.port"):add_for_decode_as(vxa)

vxa:register_heuristic("tcp", function(tvb, pinfo, tree)
  if tvb:len() < 4 or tvb(0, 4):uint() ~= MAGIC then return false end
  pinfo.conversation = vxa
  vxa.dissector(tvb, pinfo, tree)
  return true
end)
