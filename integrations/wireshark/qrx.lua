-- Dissector for Wireshark and tshark: packets of pictures, bare or in the envelope of a live
-- session, and its control messages. See README.md beside this file for how to use it, and
-- docs/packets.md for the bytes of a packet.
--
-- Every datagram is a stranger's: what does not fit is marked as malformed, with the reason.

local packet = Proto("qrx", "Packet of a picture")
local session = Proto("qrxlive", "Live session of pictures")

local kinds = { [0] = "Packet", [1] = "From server", [2] = "From viewer" }
local messages = {
  [0] = "Hello", [1] = "Bye", [2] = "FrameInfo", [3] = "RepairRequest", [4] = "Superseded",
  [5] = "Welcome", [6] = "Alive", [7] = "Changes", [8] = "Closing", [9] = "Report",
}
local samplings = { [0x11] = "4:4:4", [0x21] = "4:2:2", [0x22] = "4:2:0" }

-- Fields of a head by offset; little-endian.
local head = {
  { "header_size", "Head size", ProtoField.uint8, 0, 1 },
  { "context", "Context byte", ProtoField.uint8, 1, 1 },
  { "kind", "Kind", ProtoField.uint8, 2, 1 },
  { "mcu_shape", "MCU shape", ProtoField.uint8, 3, 1, base.HEX, samplings },
  { "data_end", "EOI at", ProtoField.int16, 4, 2 },
  { "mcus", "MCUs", ProtoField.int16, 6, 2 },
  { "window", "Window", ProtoField.uint32, 8, 4 },
  { "index", "Index (negative: the last packet)", ProtoField.int32, 12, 4 },
  { "x", "Left edge of the first MCU", ProtoField.int16, 16, 2 },
  { "y", "Lower edge of the first row", ProtoField.int16, 18, 2 },
  { "width", "Width", ProtoField.int16, 20, 2 },
  { "height", "Height", ProtoField.int16, 22, 2 },
  { "frame_x", "Left edge of the rectangle", ProtoField.int16, 24, 2 },
  { "frame_y", "Lower edge of the rectangle", ProtoField.int16, 26, 2 },
  { "frame_width", "Width of the rectangle", ProtoField.int16, 28, 2 },
  { "frame_height", "Height of the rectangle", ProtoField.int16, 30, 2 },
}
local segment = {
  { "segment.marker", "Marker", ProtoField.uint16, 0, 2, base.HEX },
  { "segment.quality", "Quality", ProtoField.uint16, 2, 2 },
  { "segment.height", "Height", ProtoField.uint16, 4, 2 },
  { "segment.width", "Width", ProtoField.uint16, 6, 2 },
  { "segment.components", "Components", ProtoField.uint8, 8, 1 },
}
local envelope = {
  { "version", "Version", ProtoField.uint8, 2, 1 },
  { "kind", "Kind", ProtoField.uint8, 3, 1, base.DEC, kinds },
  { "session", "Session", ProtoField.uint64, 4, 8, base.HEX },
  { "sequence", "Sequence number", ProtoField.uint64, 12, 8 },
  { "sent", "Sent (microseconds of the sender's clock)", ProtoField.uint64, 20, 8 },
}
-- Numbers of a control message in order, as { name, bytes }; `list` ends with a counted list.
local bodies = {
  [0] = { { "viewer", 8 }, { "ticket", 8 }, { "asked_session", 8 } },
  [1] = {},
  [2] = {
    { "picture_session", 4 }, { "window", 4 }, { "width", 4 }, { "height", 4 }, { "tile", 4 },
    { "frame", 4 }, { "first_index", 4 }, { "latest_index", 4 }, { "encode_us", 4 },
    { "age_us", 4 }, { "finished", 4 }, { "dropped", 4 },
  },
  [3] = { list = true },
  [4] = { { "until", 4 }, list = true },
  [5] = { { "ticket", 8 }, { "offered_session", 8 } },
  [6] = { { "time", 8 } },
  [7] = { { "frame", 4 }, { "first_tile", 4 }, list = true },
  [8] = {},
  [9] = {
    { "time", 8 }, { "bytes", 8 }, { "arrived", 8 }, { "lost", 8 }, { "queue_us", 4 },
    { "backlog_us", 4 },
  },
}
local envelope_head, tag_size, crc_size, head_size = 28, 16, 4, 32

local fields = { packet = {}, session = {} }
do
  local all = {}
  for _, list in ipairs({ head, segment }) do
    for _, f in ipairs(list) do
      fields.packet[f[1]] = f[3]("qrx." .. f[1], f[2], f[6] or base.DEC, f[7])
      table.insert(all, fields.packet[f[1]])
    end
  end
  fields.packet.data = ProtoField.bytes("qrx.data", "Entropy-coded data")
  fields.packet.scan = ProtoField.bytes("qrx.scan", "Scan header")
  fields.packet.last = ProtoField.bool("qrx.last", "Last packet of its rectangle")
  for _, name in ipairs({ "data", "scan", "last" }) do table.insert(all, fields.packet[name]) end
  packet.fields = all
end
do
  local all = {}
  for _, f in ipairs(envelope) do
    fields.session[f[1]] = f[3]("qrxlive." .. f[1], f[2], f[6] or base.DEC, f[7])
    table.insert(all, fields.session[f[1]])
  end
  fields.session.tag = ProtoField.bytes("qrxlive.tag", "Tag")
  fields.session.message =
    ProtoField.uint8("qrxlive.message", "Message", base.DEC, messages)
  fields.session.crc = ProtoField.uint32("qrxlive.crc", "CRC-32", base.HEX)
  fields.session.item = ProtoField.uint32("qrxlive.item", "Of the list")
  for _, name in ipairs({ "tag", "message", "crc", "item" }) do
    table.insert(all, fields.session[name])
  end
  for _, body in pairs(bodies) do
    for _, number in ipairs(body) do
      local name = "body." .. number[1]
      if not fields.session[name] then
        local kind = number[2] == 8 and ProtoField.uint64 or ProtoField.uint32
        fields.session[name] = kind("qrxlive." .. number[1], number[1])
        table.insert(all, fields.session[name])
      end
    end
  end
  session.fields = all
end

local malformed = {
  packet = ProtoExpert.new("qrx.malformed", "Malformed packet", expert.group.MALFORMED,
                           expert.severity.ERROR),
  session = ProtoExpert.new("qrxlive.malformed", "Malformed message", expert.group.MALFORMED,
                            expert.severity.ERROR),
}
packet.experts = { malformed.packet }
session.experts = { malformed.session }

-- Marks the tree, and the line of the datagram.
local function refuse(tree, info, which, reason)
  tree:add_proto_expert_info(malformed[which], reason)
  info.cols.info:append(" [malformed: " .. reason .. "]")
end

local function ceil_div(a, b) return math.floor((a + b - 1) / b) end

-- What keeps a head from being one; nil if nothing does.
local function fault_of_head(tvb)
  local length = tvb:len()
  if tvb(0, 1):uint() ~= head_size then return "the head's size is not 32" end
  local kind = tvb(2, 1):uint()
  if kind ~= 1 and kind ~= 231 then return "the kind is neither 1 nor 231" end
  if not samplings[tvb(3, 1):uint()] then return "unknown shape of MCUs" end
  if tvb(4, 2):le_int() ~= length - 2 then return "EOI is not where the head says" end
  if tvb(6, 2):le_int() < 0 then return "a negative number of MCUs" end
  if tvb(28, 2):le_int() < 1 or tvb(30, 2):le_int() < 1 then return "an empty rectangle" end
  local shape = tvb(3, 1):uint()
  local columns = ceil_div(tvb(28, 2):le_int(), 8 * math.floor(shape / 16))
  local rows = ceil_div(tvb(30, 2):le_int(), 8 * (shape % 16))
  if tvb(6, 2):le_int() > columns * rows then return "more MCUs than the rectangle has" end
  return nil
end

local function fault_of_slice(tvb)
  if tvb(head_size, 2):uint() ~= 0xFFDE then return "no packet segment" end
  local components = tvb(head_size + 8, 1):uint()
  if components ~= 1 and components ~= 3 then return "neither one component nor three" end
  local scan = head_size + 9 + 3 * components
  if scan + 8 + 2 * components + 2 > tvb:len() then return "no room for a scan header" end
  if tvb(scan, 2):uint() ~= 0xFFDA then return "no scan header" end
  if tvb(tvb:len() - 2, 2):uint() ~= 0xFFD9 then return "no EOI at the end" end
  if tvb(head_size + 2, 2):uint() == 0 then return "quality 0" end
  if tvb(head_size + 4, 2):uint() ~= tvb(22, 2):le_uint() or
     tvb(head_size + 6, 2):uint() ~= tvb(20, 2):le_uint() then
    return "head and segment tell different sizes"
  end
  return nil
end

function packet.dissector(tvb, info, root)
  local tree = root:add(packet, tvb())
  info.cols.protocol = "QRX"
  info.cols.info = "Packet"
  if tvb:len() < head_size then
    refuse(tree, info, "packet", "shorter than a head")
    return tvb:len()
  end
  local head_tree = tree:add(tvb(0, head_size), "Head")
  for _, f in ipairs(head) do head_tree:add_le(fields.packet[f[1]], tvb(f[4], f[5])) end
  local index = tvb(12, 4):le_int()
  head_tree:add(fields.packet.last, tvb(12, 4), index < 0):set_generated()
  info.cols.info = string.format("Packet of frame %d, %d MCUs at %d, %d%s", math.abs(index),
                                 tvb(6, 2):le_int(), tvb(16, 2):le_int(), tvb(18, 2):le_int(),
                                 index < 0 and ", the last" or "")
  local fault = fault_of_head(tvb)
  if not fault and tvb:len() < head_size + 9 then fault = "no room for a packet segment" end
  fault = fault or fault_of_slice(tvb)
  if fault then
    refuse(tree, info, "packet", fault)
    return tvb:len()
  end
  local components = tvb(head_size + 8, 1):uint()
  local scan = head_size + 9 + 3 * components
  local data = scan + 8 + 2 * components
  local segment_tree = tree:add(tvb(head_size, 9 + 3 * components), "Packet segment")
  for _, f in ipairs(segment) do
    segment_tree:add(fields.packet[f[1]], tvb(head_size + f[4], f[5]))
  end
  tree:add(fields.packet.scan, tvb(scan, 8 + 2 * components))
  if tvb:len() - 2 > data then tree:add(fields.packet.data, tvb(data, tvb:len() - 2 - data)) end
  return tvb:len()
end

-- The list that ends a message: its count, then numbers of 32 bits.
local function add_list(tvb, at, tree)
  if at + 4 > tvb:len() then return nil end
  local count = tvb(at, 4):le_uint()
  at = at + 4
  if count * 4 > tvb:len() - at then return nil end
  local list = tree:add(tvb(at - 4, 4 + 4 * count), string.format("%d in the list", count))
  for i = 0, count - 1 do list:add_le(fields.session.item, tvb(at + 4 * i, 4)) end
  return at + 4 * count
end

local function dissect_message(tvb, info, tree)
  if tvb:len() < 5 + crc_size then
    return refuse(tree, info, "session", "shorter than a message")
  end
  if tvb(0, 4):string() ~= "QRXC" then return refuse(tree, info, "session", "no message") end
  local kind = tvb(4, 1):uint()
  tree:add(fields.session.message, tvb(4, 1))
  info.cols.info = messages[kind] or "Unknown message"
  if not bodies[kind] then return refuse(tree, info, "session", "a message of no known kind") end
  local body = tvb(0, tvb:len() - crc_size):tvb()
  local at = 5
  for _, number in ipairs(bodies[kind]) do
    if at + number[2] > body:len() then
      return refuse(tree, info, "session", "the message is cut off")
    end
    tree:add_le(fields.session["body." .. number[1]], body(at, number[2]))
    at = at + number[2]
  end
  if bodies[kind].list then at = add_list(body, at, tree) end
  if at ~= body:len() then
    return refuse(tree, info, "session", "the message's length does not fit its kind")
  end
  tree:add_le(fields.session.crc, tvb(tvb:len() - crc_size, crc_size))
  if kind == 2 then
    info.cols.info:append(string.format(" %d", body(5 + 4 * 5, 4):le_uint()))
  end
end

function session.dissector(tvb, info, root)
  local tree = root:add(session, tvb())
  info.cols.protocol = "QRXLIVE"
  info.cols.info = "Envelope"
  if tvb:len() < envelope_head + tag_size then
    refuse(tree, info, "session", "shorter than an envelope")
    return tvb:len()
  end
  for _, f in ipairs(envelope) do tree:add_le(fields.session[f[1]], tvb(f[4], f[5])) end
  if tvb(2, 1):uint() ~= 2 then
    refuse(tree, info, "session", "a version that is not spoken here")
    return tvb:len()
  end
  local kind = tvb(3, 1):uint()
  local payload = tvb(envelope_head, tvb:len() - envelope_head - tag_size)
  tree:add(fields.session.tag, tvb(tvb:len() - tag_size, tag_size))
  if not kinds[kind] then
    refuse(tree, info, "session", "a payload of no known kind")
  elseif payload:len() == 0 then
    refuse(tree, info, "session", "an empty payload")
  elseif kind == 0 then
    packet.dissector(payload:tvb(), info, root)
    info.cols.protocol = "QRXLIVE"
  else
    dissect_message(payload:tvb(), info, tree)
  end
  return tvb:len()
end

-- By what they begin with, on any port.
local function looks_like_envelope(tvb)
  return tvb:len() >= envelope_head + tag_size and tvb(0, 2):string() == "QR" and
         tvb(2, 1):uint() <= 8 and tvb(3, 1):uint() <= 2
end
session:register_heuristic("udp", function(tvb, info, root)
  if not looks_like_envelope(tvb) then return false end
  session.dissector(tvb, info, root)
  return true
end)
packet:register_heuristic("udp", function(tvb, info, root)
  if tvb:len() < head_size + 9 or tvb(0, 1):uint() ~= head_size or
     tvb(head_size, 2):uint() ~= 0xFFDE then
    return false
  end
  packet.dissector(tvb, info, root)
  return true
end)
-- For "Decode as", where a datagram is too far off to be recognised.
DissectorTable.get("udp.port"):add_for_decode_as(session)
DissectorTable.get("udp.port"):add_for_decode_as(packet)
