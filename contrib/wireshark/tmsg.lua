-- Dissects tmsg chunks over TCP. README.md in this folder says how to install and use it, and
-- docs/wire-format.md describes the bytes.

local tmsg = Proto("tmsg", "Typed Message")

-- Limits. Bad input must cost neither much time nor much memory.

local most_depth = 1000            -- of structs, arrays and messages, as in the library
local most_tree_depth = 100        -- deeper values are shown at this depth
local most_items = 100000          -- values shown of one frame
local most_unfinished = 1024       -- messages of one direction, as in the library
local most_frames = 1000           -- chunks of one message that are listed
local most_info = 20               -- chunks of one frame in the info column
local most_text = 64               -- bytes of a text in a label
local most_bytes = 16              -- bytes of a byte string in a label

tmsg.prefs.ports = Pref.range("TCP ports", "",
    "The ports whose traffic is taken for chunks. Other connections are recognised by their bytes",
    65535)
tmsg.prefs.desegment = Pref.bool("Reassemble chunks spanning multiple TCP segments", true,
    "The preference of TCP to reassemble streams must be on, too")
tmsg.prefs.reassemble = Pref.bool("Reassemble messages of several chunks", true,
    "Otherwise only messages of one chunk are decoded")
tmsg.prefs.most_kept = Pref.uint("Megabytes kept of a direction", 64,
    "The most bytes that are kept of the messages in one direction of a connection")

-- Fields

local f = {
    header = ProtoField.none("tmsg.header", "Chunk header"),
    version = ProtoField.uint8("tmsg.version", "Version"),
    first = ProtoField.bool("tmsg.first_chunk", "First chunk", 8, nil, 0x80),
    last = ProtoField.bool("tmsg.last_chunk", "Last chunk", 8, nil, 0x40),
    reserved = ProtoField.bool("tmsg.reserved", "Reserved", 8, nil, 0x20),
    discard = ProtoField.bool("tmsg.discard_eligible", "Discard eligible", 8, nil, 0x10),
    length = ProtoField.uint24("tmsg.length", "Payload length", base.DEC, nil, 0x0FFFFF),
    port = ProtoField.uint8("tmsg.port", "Port"),
    response_new = ProtoField.bool("tmsg.response_new", "Response new", 8, nil, 0x80),
    seq_no = ProtoField.uint24("tmsg.seq_no", "Sequence number", base.DEC, nil, 0x7FFFFF),
    signature = ProtoField.bytes("tmsg.signature", "Signature"),
    payload = ProtoField.bytes("tmsg.payload", "Payload"),
    cut = ProtoField.bytes("tmsg.cut", "Cut chunk"),

    chunk = ProtoField.framenum("tmsg.chunk", "Chunk in frame"),
    chunk_count = ProtoField.uint32("tmsg.chunk.count", "Chunks"),
    message_length = ProtoField.uint32("tmsg.message.length", "Message length"),
    reassembled_in = ProtoField.framenum("tmsg.reassembled_in", "Message is complete in frame"),

    message = ProtoField.none("tmsg.message", "Message"),
    kind = ProtoField.string("tmsg.kind", "Kind"),
    method = ProtoField.string("tmsg.method", "Method"),
    fault_code = ProtoField.int32("tmsg.fault_code", "Fault code"),
    fault_string = ProtoField.string("tmsg.fault_string", "Fault string"),
    group = ProtoField.none("tmsg.group", "Group"),
    name = ProtoField.string("tmsg.name", "Name"),
    index = ProtoField.uint16("tmsg.index", "Name index"),
    struct = ProtoField.none("tmsg.struct", "Struct"),
    array = ProtoField.none("tmsg.array", "Array"),
    string = ProtoField.string("tmsg.string", "String"),
    binary = ProtoField.bytes("tmsg.binary", "Binary"),
    file = ProtoField.bytes("tmsg.file", "File"),
    double = ProtoField.double("tmsg.double", "Double"),
    bool = ProtoField.bool("tmsg.bool", "Bool"),
    int8 = ProtoField.int8("tmsg.int8", "int8"),
    uint8 = ProtoField.uint8("tmsg.uint8", "uint8"),
    int16 = ProtoField.int16("tmsg.int16", "int16"),
    uint16 = ProtoField.uint16("tmsg.uint16", "uint16"),
    int32 = ProtoField.int32("tmsg.int32", "int32"),
    uint32 = ProtoField.uint32("tmsg.uint32", "uint32"),
    int64 = ProtoField.int64("tmsg.int64", "int64"),
    uint64 = ProtoField.uint64("tmsg.uint64", "uint64"),
}
for _, field in pairs(f) do table.insert(tmsg.fields, field) end

local function expert_field(name, text, group, severity)
    return ProtoExpert.new("tmsg." .. name, text, expert.group[group], expert.severity[severity])
end

local e = {
    damaged = expert_field("damaged", "Damaged message", "MALFORMED", "ERROR"),
    bad_header = expert_field("bad_header", "Bad chunk header", "PROTOCOL", "WARN"),
    bad_chunk = expert_field("bad_chunk", "Chunk out of place", "SEQUENCE", "WARN"),
    cut = expert_field("cut_chunk", "Chunk cut by the capture", "UNDECODED", "NOTE"),
    unshown = expert_field("unshown", "Not shown", "UNDECODED", "NOTE"),
    fault = expert_field("fault", "Fault", "RESPONSE_CODE", "NOTE"),
}
tmsg.experts = { e.damaged, e.bad_header, e.bad_chunk, e.cut, e.unshown, e.fault }

local stream_field = Field.new("tcp.stream")

-- Texts

local escapes = { ["\a"] = "\\a", ["\b"] = "\\b", ["\t"] = "\\t", ["\n"] = "\\n", ["\v"] = "\\v",
    ["\f"] = "\\f", ["\r"] = "\\r" }

local function escape_byte(byte) return escapes[byte] or ("\\x%02x"):format(byte:byte()) end

-- Returns the number of bytes of the first character at `at`, or 0 when it is not valid UTF-8 or
-- would disturb a line of text.
local function character_size(text, at)
    local first = text:byte(at)
    if first < 0x80 then return (first >= 0x20 and first <= 0x7E) and 1 or 0 end
    local size = first >= 0xF0 and 4 or first >= 0xE0 and 3 or 2
    if first < 0xC2 or first > 0xF4 or at + size - 1 > #text then return 0 end
    local code = first % 2 ^ (7 - size)
    for i = at + 1, at + size - 1 do
        local byte = text:byte(i)
        if byte < 0x80 or byte > 0xBF then return 0 end
        code = code * 64 + byte - 0x80
    end
    local smallest = size == 2 and 0xA0 or size == 3 and 0x800 or 0x10000
    local is_mark = code >= 0x200B and code <= 0x200F or code >= 0x2028 and code <= 0x202E or
        code >= 0x2066 and code <= 0x2069
    local is_surrogate = code >= 0xD800 and code <= 0xDFFF
    return (code < smallest or code > 0x10FFFF or is_surrogate or is_mark) and 0 or size
end

-- Returns a text with everything escaped that is no visible character, and with a backslash before
-- each character of `special`.
local function printable(text, special)
    local parts, at = {}, 1
    while at <= #text do
        local size = character_size(text, at)
        local part = text:sub(at, at + math.max(size, 1) - 1)
        if size == 0 then
            part = escape_byte(part)
        elseif special and special:find(part, 1, true) then
            part = "\\" .. part
        end
        table.insert(parts, part)
        at = at + math.max(size, 1)
    end
    return table.concat(parts)
end

-- Returns the first bytes of a text for a label, and dots when there are more. Cuts no character.
local function shortened(text, special)
    local last = math.min(#text, most_text)
    while last > 0 and last < #text and last > most_text - 3 do
        local next_byte = text:byte(last + 1)
        if next_byte < 0x80 or next_byte > 0xBF then break end
        last = last - 1
    end
    return printable(text:sub(1, last), special), #text > most_text and "..." or ""
end

local function plain(text)
    local shown, dots = shortened(text)
    return shown .. dots
end

local function quoted(text)
    local shown, dots = shortened(text, '"\\')
    return '"' .. shown .. '"' .. dots
end

local function hexadecimal(bytes)
    local shown = bytes:sub(1, most_bytes):gsub(".", function(byte)
        return ("%02x "):format(byte:byte())
    end):sub(1, -2)
    return shown .. (#bytes > most_bytes and " ..." or "")
end

-- Returns the fewest digits from which the same number is read.
local function double_text(value)
    if value ~= value then return "nan" end
    for digits = 15, 16 do
        local text = ("%." .. digits .. "g"):format(value)
        if tonumber(text) == value then return text end
    end
    return ("%.17g"):format(value)
end

-- Adds a text. Wireshark ends a text at its first zero byte, so such a text is escaped.
local function add_text(item, field, range)
    local text = range:len() > 0 and range:raw() or ""
    if text:find("\0", 1, true) then return item:add(field, range, printable(text)) end
    return item:add_packet_field(field, range, ENC_UTF_8)
end

-- A message as its items come. Frames are the open messages, groups, structs and arrays. The rules
-- and the texts of errors are those of the library's decoder.

local Reader = {}
Reader.__index = Reader

local function new_reader(raw, tvb, root, budget)
    local reader = setmetatable({
        raw = raw, tvb = tvb, at = 0, budget = budget, frames = {}, summary = {},
    }, Reader)
    -- The message itself has no frame around it.
    reader.top = { state = "outside", item = root, depth = 0, children = 0 }
    return reader
end

function Reader:fail(text, has_place)
    if has_place then
        text = ("%s: %02Xh at byte %d"):format(text, self.raw:byte(self.at + 1), self.at)
    end
    self.error = text
    self.error_at = self.at
end

-- Does the same for bytes that are no item. If the item before them was bad, that is the error.
function Reader:fail_bytes(text, has_place)
    if self.pending then return self:fail(self.pending, true) end
    self:fail(text, has_place)
end

function Reader:state_name()
    local state = self.top.state
    if state == "named" or state == "valued" then return "member" end
    if state == "group" then return "struct" end
    if state == "outside" then return "method" end
    if state ~= "message" then return state end
    local message = self.top
    if message.is_fault then return "fault" end
    return message.is_call and "method call" or "method response"
end

function Reader:reject(event)
    self:fail("unexpected " .. event .. " in " .. self:state_name(), true)
end

function Reader:expects_value() return self.top.state == "named" or self.top.state == "array" end

function Reader:number(at, size)
    local value = 0
    for i = at + 1, at + size do value = value * 256 + self.raw:byte(i) end
    return value
end

-- Adds the value that comes next, unless too many are shown. Labels are those of `tmsg inspect`.
-- Returns the place of the value in its label, and the item or nil.
function Reader:add(field, begin, size, label, is_text)
    local top = self.top
    local place = ""
    if top.state == "named" then
        place = (top.name == "" and '""' or plain(top.name)) .. ": "
    elseif top.state == "array" then
        place = "[" .. top.children .. "] "
    end
    top.children = top.children + 1
    local budget = self.budget
    if budget.left <= 0 or self.pending then return place, nil end
    budget.left = budget.left - 1
    local range = self.tvb(begin, size)
    local item = is_text and add_text(top.item, field, range) or top.item:add(field, range)
    item:set_text(place .. label)
    if top.state == "named" then self:add_name(item, top) end
    return place, item
end

-- The name is in the label already, so the item is for filters only.
function Reader:add_name(item, member)
    local range = self.tvb(member.name_at, member.name_size)
    if member.index then
        item:add(f.index, range)
        item:add(f.name, range, printable(member.name)):set_hidden(true)
    else
        add_text(item, f.name, range):set_hidden(true)
    end
end

function Reader:may_nest()
    if self.top.depth < most_depth then return true end
    self:fail("nested deeper than " .. most_depth .. " levels", true)
    return false
end

function Reader:open(state, field, label, frame)
    local place, item = self:add(field, self.at, 1, label)
    local around = self.top
    if around.state == "named" then around.state = "valued" end
    frame.state, frame.begin, frame.place, frame.label = state, self.at, place, label
    frame.shown = item
    frame.children = 0
    frame.depth = around.depth + 1
    frame.item = (item and frame.depth <= most_tree_depth) and item or around.item
    table.insert(self.frames, around)
    self.top = frame
    return frame
end

function Reader:close(stop, empty_text)
    local frame = self.top
    if frame.shown then
        frame.shown:set_len(stop - frame.begin)
        if frame.children == 0 and empty_text then
            frame.shown:set_text(frame.place .. frame.label .. empty_text)
        end
    end
    self.top = table.remove(self.frames)
end

-- Messages

function Reader:begin_message(is_call)
    if not self:may_nest() then return end
    local is_root = self.top.state == "outside" and not self.summary.kind
    if not is_root and not self:expects_value() then
        return self:reject(is_call and "method call begin" or "method response begin")
    end
    local kind = is_call and "request" or "response"
    -- The library has no name for this type in the error text of a bad name table.
    self:note_element("unknown")
    local message = self:open("message", f.message, kind, {
        is_call = is_call, groups = 0, is_root = is_root,
    })
    if is_root then self.summary.kind = kind end
    message.kind_range = self.tvb(self.at, 1)
    self.at = self.at + 1
end

function Reader:relabel(message)
    local name = message.name and " " .. plain(message.name) or ""
    if message.is_fault then message.label = "fault" end
    if message.shown then message.shown:set_text(message.place .. message.label .. name) end
    if message.is_root then
        self.summary.kind = message.label
        self.summary.name = message.name
    end
end

function Reader:begin_fault()
    local message = self.top
    if message.state ~= "message" or message.groups > 0 then return self:reject("fault begin") end
    message.is_fault = true
    self:relabel(message)
    message.kind_range = self.tvb(self.at, 1)
    self.at = self.at + 1
end

function Reader:end_fault()
    local message = self.top
    if message.state ~= "message" or not message.is_fault or message.groups > 2 then
        return self:reject("fault end")
    end
    self.at = self.at + 1
end

function Reader:end_message(is_call)
    local event = is_call and "method call end" or "method response end"
    local message = self.top
    if message.state ~= "message" then return self:reject(event) end
    if message.groups < 2 then
        self:fail("unexpected " .. event .. " in " .. self:state_name() ..
            (message.groups == 0 and " (no structs found)" or " (only one struct found)"), true)
        return
    end
    if is_call ~= message.is_call or message.groups > 2 then return self:reject(event) end
    self.at = self.at + 1
    if not message.is_root then return self:close(self.at) end
    -- The outermost message stays open, because the error texts of bytes behind it name it.
    message.groups = 3
    self.is_done = true
end

-- The length of the contents of an item whose head is complete, or nil when bytes are missing.
function Reader:contents(head, size)
    local stop = self.at + head + size
    if stop <= #self.raw then return stop end
    return nil
end

function Reader:method_name()
    local message = self.top
    if message.state ~= "message" or message.has_name or message.groups > 0 then
        return self:reject("method name begin")
    end
    if not message.is_call then return self:fail("method name found in method response", true) end
    local size = self:number(self.at + 1, 2)
    local stop = self:contents(3, size)
    if stop == nil then return self:end_within() end
    if size == 0 then
        -- The library finds the empty name at the next item.
        self.pending = "unexpected method name continue in " .. self:state_name()
    else
        message.has_name = true
        message.name = self.raw:sub(self.at + 4, stop)
        self:relabel(message)
        if message.shown then
            add_text(message.shown, f.method, self.tvb(self.at + 3, size))
        end
    end
    self.at = stop
end

function Reader:add_kind(message)
    if message.shown then message.shown:add(f.kind, message.kind_range, message.label) end
end

-- Returns the names of the name table in the first group of a message, or nil when there is none.
function Reader:name_table(message)
    local table_frame = message.table_frame
    if table_frame == nil then return nil end
    if table_frame.type_name then
        self:fail("value of type " .. table_frame.type_name .. " accessed as type array")
    elseif table_frame.bad_element then
        self:fail("value of type " .. table_frame.bad_element .. " accessed as type string")
    end
    return table_frame.names
end

function Reader:begin_struct()
    if not self:may_nest() then return end
    local around = self.top
    if self:expects_value() then
        self:note_element("struct")
        self:open("struct", f.struct, "struct", { names = around.names })
    elseif around.state == "message" and around.groups < 2 then
        local names = nil
        if around.groups == 1 then
            names = self:name_table(around)
            if self.error then return end
        end
        local label = around.groups == 0 and "meta" or "body"
        if around.groups == 0 then self:add_kind(around) end
        self:open("group", f.group, label, {
            names = names, message = around, is_meta = around.groups == 0,
        })
        around.groups = around.groups + 1
    else
        return self:reject("struct begin")
    end
    self.at = self.at + 1
end

function Reader:end_struct()
    local state = self.top.state
    if state ~= "struct" and state ~= "group" then return self:reject("struct end") end
    self.at = self.at + 1
    self:close(self.at, state == "group" and ": empty" or ", empty")
end

function Reader:begin_array()
    if not self:may_nest() then return end
    if not self:expects_value() then return self:reject("array begin") end
    self:note_element("array")
    local around = self.top
    local frame = self:open("array", f.array, "array", { names = around.names })
    if around.is_table then
        frame.is_name_table = true
        around.is_table = nil
        around.table_owner.table_frame = { names = {} }
        frame.table = around.table_owner.table_frame
    end
    self.at = self.at + 1
end

function Reader:end_array()
    if self.top.state ~= "array" then return self:reject("array end") end
    self.at = self.at + 1
    self:close(self.at, ", empty")
end

-- Members

-- Reads the name of a member, or its index. Returns where the value begins, or nil after a failure.
function Reader:read_name(member)
    local number = self:number(self.at + 2, 2)
    local names = member.names
    if names == nil then
        local stop = self:contents(4, number)
        if stop == nil then return self:end_within() end
        member.name = self.raw:sub(self.at + 5, stop)
        member.name_at, member.name_size = self.at + 4, number
        return stop
    end
    if number >= #names then
        return self:fail("name index " .. number .. " in a name table of " .. #names)
    end
    member.name = names[number + 1]
    member.index = number
    member.name_at, member.name_size = self.at + 2, 2
    return self.at + 4
end

function Reader:begin_member()
    local marker = self.raw:byte(self.at + 2)
    if marker ~= 0x07 then
        self:fail_bytes(("member name not found: %02Xh at byte %d should be 07h"):format(
            marker, self.at + 1))
        return
    end
    local parent = self.top
    if parent.state ~= "struct" and parent.state ~= "group" then
        return self:reject("member begin")
    end
    local member = {
        state = "named", item = parent.item, depth = parent.depth, children = 0,
        names = parent.names, parent = parent,
    }
    local value = self:read_name(member)
    if value == nil then return end
    self.at = value
    self:note_table(parent, member)
    parent.children = parent.children + 1
    table.insert(self.frames, parent)
    self.top = member
end

-- Only the first member "catalog" is the name table.
function Reader:note_table(group, member)
    if not group.is_meta or member.name ~= "catalog" or group.has_table then return end
    group.has_table = true
    member.is_table = true
    member.table_owner = group.message
end

-- Notes a value that is the name table, or one of its elements.
function Reader:note_element(type_name, text)
    local top = self.top
    if top.is_table and type_name ~= "array" then
        top.is_table = nil
        top.table_owner.table_frame = { type_name = type_name, names = {} }
    elseif top.is_name_table then
        if text == nil then top.table.bad_element = top.table.bad_element or type_name end
        table.insert(top.table.names, text or "")
    end
end

function Reader:end_member()
    local state = self.top.state
    if state ~= "named" and state ~= "valued" then return self:reject("member end") end
    if state == "named" then return self:fail("no values found in member", true) end
    self.at = self.at + 1
    self.top = table.remove(self.frames)
end

-- Plain values

function Reader:note_fault(type_name, at, size)
    local member = self.top
    local group = member.parent
    if member.state ~= "named" or group.state ~= "group" or group.is_meta then return end
    if not group.message.is_fault or not group.message.shown then return end
    local item = group.message.shown
    if member.name == "faultCode" and type_name == "int32_t" then
        local code = self.tvb(at, size)
        item:add(f.fault_code, code)
        if group.message.is_root then self.summary.code = code:int() end
    elseif member.name == "faultString" and type_name == "string" then
        add_text(item, f.fault_string, self.tvb(at, size))
        if group.message.is_root then self.summary.text = self.raw:sub(at + 1, at + size) end
    end
end

local scalars = {
    [0x0B] = { "double", 8, f.double, function(range) return double_text(range:float()) end },
    [0x0C] = { "bool", 1, f.bool, function(range) return tostring(range:uint() ~= 0) end },
    [0x0D] = { "int8_t", 1, f.int8, function(range) return range:int() end, "int8" },
    [0x0E] = { "uint8_t", 1, f.uint8, function(range) return range:uint() end, "uint8" },
    [0x0F] = { "int16_t", 2, f.int16, function(range) return range:int() end, "int16" },
    [0x10] = { "uint16_t", 2, f.uint16, function(range) return range:uint() end, "uint16" },
    [0x11] = { "int32_t", 4, f.int32, function(range) return range:int() end, "int32" },
    [0x12] = { "uint32_t", 4, f.uint32, function(range) return range:uint() end, "uint32" },
    [0x13] = { "int64_t", 8, f.int64, function(range) return range:int64() end, "int64" },
    [0x14] = { "uint64_t", 8, f.uint64, function(range) return range:uint64() end, "uint64" },
}

function Reader:add_plain(field, at, size, label, is_text)
    self:add(field, at, size, label, is_text)
    if self.top.state == "named" then self.top.state = "valued" end
end

function Reader:scalar(tag)
    local type_name, size, field, read, event = table.unpack(scalars[tag])
    if not self:expects_value() then return self:reject(event or type_name) end
    self:note_element(type_name)
    self:note_fault(type_name, self.at + 1, size)
    local label = type_name .. " " .. tostring(read(self.tvb(self.at + 1, size)))
    self:add_plain(field, self.at + 1, size, label)
    self.at = self.at + 1 + size
end

local sequences = {
    [0x08] = { "string", 2, f.string, quoted },
    [0x0A] = { "binary", 4, f.binary, hexadecimal },
    [0x15] = { "file", 4, f.file, nil },
}

-- Reads a string, a byte string or a file.
function Reader:sequence(tag)
    local type_name, width, field, text_of = table.unpack(sequences[tag])
    local is_text = tag == 0x08
    if not self:expects_value() then return self:reject(type_name .. " begin") end
    local size = self:number(self.at + 1, width)
    local begin = self.at + 1 + width
    local stop = self:contents(1 + width, size)
    local bytes = self.raw:sub(begin + 1, stop or #self.raw)
    local label = type_name .. "[" .. size .. "]" .. (text_of and " " .. text_of(bytes) or "")
    if stop == nil then
        self:add_plain(field, begin, #self.raw - begin, label .. ", incomplete", is_text)
        return self:end_within()
    end
    self:note_element(type_name, is_text and bytes or nil)
    self:note_fault(type_name, begin, size)
    self:add_plain(field, begin, size, label, is_text)
    self.at = stop
end

function Reader:end_within() self:fail_bytes("decoder within string at end of method") end

local heads = { [0x01] = 3, [0x05] = 4, [0x08] = 3, [0x0A] = 5, [0x15] = 5 }
for tag, scalar in pairs(scalars) do heads[tag] = 1 + scalar[2] end

local acts = {
    [0x00] = function(reader) reader:begin_message(true) end,
    [0x01] = Reader.method_name,
    [0x02] = function(reader) reader:begin_message(false) end,
    [0x03] = Reader.begin_fault,
    [0x04] = Reader.begin_struct,
    [0x05] = Reader.begin_member,
    [0x06] = Reader.begin_array,
    [0x80] = function(reader) reader:end_message(true) end,
    [0x82] = function(reader) reader:end_message(false) end,
    [0x83] = Reader.end_fault,
    [0x84] = Reader.end_struct,
    [0x85] = Reader.end_member,
    [0x86] = Reader.end_array,
}
for tag in pairs(scalars) do acts[tag] = Reader.scalar end
for tag in pairs(sequences) do acts[tag] = Reader.sequence end

-- Reads one item. What was wrong with the item before it is reported here.
function Reader:take_item()
    local tag = self.raw:byte(self.at + 1)
    if #self.raw - self.at < (heads[tag] or 1) then
        return self:fail("data remaining in buffer at end of method")
    end
    local pending, begin = self.pending, self.at
    local act = acts[tag]
    if act == nil then
        self:fail_bytes("unknown tag found", true)
    else
        act(self, tag)
    end
    if pending and not self.error then
        self.at = begin
        self:fail(pending, true)
    end
end

function Reader:run()
    while self.at < #self.raw and not self.error do self:take_item() end
    if not self.error and not self.is_done then
        self:fail("decoder expecting more data after end of buffer")
    end
    while #self.frames > 0 do
        local stop = self.is_done and self.at or #self.raw
        if self.top.shown then self.top.shown:set_len(stop - self.top.begin) end
        self.top = table.remove(self.frames)
    end
end

-- Decodes a message and adds its tree. Returns what the info column shows of it.
local function dissect_message(raw, tvb, tree, budget)
    local reader = new_reader(raw, tvb, tree, budget)
    reader:run()
    local summary = reader.summary
    if reader.error then
        local at = math.min(reader.error_at, math.max(#raw - 1, 0))
        tree:add(tvb(at, math.min(1, #raw)), ("damaged at byte %d: %s"):format(
            reader.error_at, reader.error)):add_proto_expert_info(e.damaged, reader.error)
        summary.is_damaged = true
    elseif summary.kind == "fault" then
        tree:add_proto_expert_info(e.fault, "Fault")
    end
    if budget.left <= 0 then
        tree:add_proto_expert_info(e.unshown, "The frame has more values than are shown")
    end
    return summary
end

-- Messages of several chunks. A direction of a connection has its own sequence numbers.

local directions = {}   -- by connection and sender
local chunk_places = {} -- by frame and position of the chunk in it

function tmsg.init()
    directions = {}
    chunk_places = {}
end

local function direction_of(pinfo)
    local stream = stream_field()
    local key = table.concat({
        stream and tostring(stream.value) or "", tostring(pinfo.src), pinfo.src_port,
        tostring(pinfo.dst), pinfo.dst_port,
    }, " ")
    local direction = directions[key]
    if direction == nil then
        direction = { unfinished = {}, count = 0, held = 0, finished = {}, oldest = 1, newest = 0 }
        directions[key] = direction
    end
    return direction
end

local function forget(direction, message)
    direction.unfinished[message.seq_no] = nil
    direction.count = direction.count - 1
end

local function drop_parts(direction, message)
    direction.held = direction.held - message.size
    message.parts, message.data = nil, nil
end

-- Makes room by dropping the messages that were finished first.
local function has_room(direction, size)
    local most = tmsg.prefs.most_kept * 1000000
    while direction.held + size > most and direction.finished[direction.oldest] do
        drop_parts(direction, direction.finished[direction.oldest])
        direction.finished[direction.oldest] = nil
        direction.oldest = direction.oldest + 1
    end
    return direction.held + size <= most
end

-- Ends the unfinished message that has the sequence number of a new one. Returns an error text when
-- there was one.
local function break_off(direction, header)
    local earlier = direction.unfinished[header.seq_no]
    if earlier == nil then return nil end
    earlier.fate = "message without a last chunk"
    if earlier.parts then drop_parts(direction, earlier) end
    forget(direction, earlier)
    return "the message before it with this sequence number has no last chunk"
end

local function begin_message(direction, header)
    local message = { seq_no = header.seq_no, parts = {}, size = 0, frames = {}, count = 0 }
    if direction.count >= most_unfinished then
        message.fate = "more than " .. most_unfinished .. " unfinished messages"
        message.parts = nil
        return message
    end
    direction.unfinished[header.seq_no] = message
    direction.count = direction.count + 1
    return message
end

local function add_part(direction, message, payload, frame)
    message.count = message.count + 1
    if message.count <= most_frames then table.insert(message.frames, frame) end
    if message.parts == nil then return end
    if not tmsg.prefs.reassemble then
        message.fate = "the preference says not to"
    elseif payload == nil then
        message.fate = "a chunk of the message is cut by the capture"
    elseif not has_room(direction, #payload) then
        message.fate = "more bytes than the preference allows to keep"
    else
        direction.held = direction.held + #payload
        message.size = message.size + #payload
        table.insert(message.parts, payload)
        return
    end
    drop_parts(direction, message)
end

local function end_message(direction, message, frame)
    forget(direction, message)
    message.last_frame = frame
    if message.parts == nil then return end
    message.data = table.concat(message.parts)
    message.parts = nil
    direction.newest = direction.newest + 1
    direction.finished[direction.newest] = message
end

-- Notes a chunk that is seen for the first time. Returns its message and an error text. The payload
-- is nil when it was cut.
local function note_chunk(pinfo, header, payload)
    local direction = direction_of(pinfo)
    local place = {}
    if header.is_first then place.error = break_off(direction, header) end
    if header.is_first and header.is_last then return place end
    local message = direction.unfinished[header.seq_no]
    if header.is_first then
        message = begin_message(direction, header)
    elseif message == nil then
        return { error = "chunk continues no known message" }
    end
    add_part(direction, message, payload, pinfo.number)
    place.message = message
    if header.is_last then end_message(direction, message, pinfo.number) end
    return place
end

-- What is known of the frame that is dissected now: how many values it may still show, and how many
-- chunks came before. The dissector is called several times for one frame, and again when a user
-- looks at the frame.
local frame = nil

local function begin_call(pinfo)
    if pinfo.private["tmsg"] then return end
    pinfo.private["tmsg"] = "seen"
    frame = { left = most_items, chunks = 0 }
end

local function place_of_chunk(pinfo, header, payload)
    local key = pinfo.number * 2 ^ 20 + frame.chunks
    frame.chunks = frame.chunks + 1
    if not pinfo.visited then chunk_places[key] = note_chunk(pinfo, header, payload) end
    return chunk_places[key] or {}
end

-- Chunks

local signature = "KVOC" .. ("\0"):rep(12)

-- Returns nil when bytes of the header are missing.
local function read_header(tvb, at)
    local left = tvb:len() - at
    if left < 8 then return nil end
    local flags = tvb(at + 1, 1):uint()
    local header = {
        size = 8, version = tvb(at, 1):uint(), length = tvb(at + 1, 3):uint() % 0x100000,
        is_first = flags >= 0x80, is_last = flags % 0x80 >= 0x40,
        has_reserved = flags % 0x40 >= 0x20, seq_no = tvb(at + 5, 3):uint() % 0x800000,
    }
    if header.version ~= 2 then return header end
    local there = tvb:raw(at + 8, math.min(left - 8, #signature))
    if there ~= signature:sub(1, #there) then return header end
    if #there < #signature then return nil end
    header.size = 8 + #signature
    return header
end

local function has_bad_version(header) return header.version ~= 0 and header.size == 8 end

local function is_bad(header) return has_bad_version(header) or header.has_reserved end

local function header_text(header)
    local parts = { "seq " .. header.seq_no, header.length .. " bytes" }
    if header.is_first then table.insert(parts, "first") end
    if header.is_last then table.insert(parts, "last") end
    return table.concat(parts, ", ")
end

local function add_header(tree, tvb, at, header)
    local item = tree:add(f.header, tvb(at, header.size))
    item:set_text("Chunk header: " .. header_text(header))
    local version = item:add(f.version, tvb(at, 1))
    local flags = tvb(at + 1, 1)
    item:add(f.first, flags)
    item:add(f.last, flags)
    local reserved = item:add(f.reserved, flags)
    item:add(f.discard, flags)
    item:add(f.length, tvb(at + 1, 3))
    item:add(f.port, tvb(at + 4, 1))
    item:add(f.response_new, tvb(at + 5, 1))
    item:add(f.seq_no, tvb(at + 5, 3))
    if header.size > 8 then item:add(f.signature, tvb(at + 8, #signature)) end
    if has_bad_version(header) then
        version:add_proto_expert_info(e.bad_header, "Version " .. header.version)
    end
    if header.has_reserved then
        reserved:add_proto_expert_info(e.bad_header, "The reserved bit is set")
    end
end

local function show_info(pinfo, text)
    if frame.chunks == 1 then
        pinfo.cols.protocol:set("TMSG")
        pinfo.cols.info:set(text)
    elseif frame.chunks <= most_info then
        pinfo.cols.info:append("; " .. text)
    elseif frame.chunks == most_info + 1 then
        pinfo.cols.info:append("; ...")
    end
end

local function summary_text(summary, seq_no)
    local parts = { summary.kind or "damaged" }
    if summary.name then table.insert(parts, plain(summary.name)) end
    if summary.code then table.insert(parts, tostring(summary.code)) end
    if summary.text then table.insert(parts, quoted(summary.text)) end
    table.insert(parts, "seq " .. seq_no)
    if summary.is_damaged and summary.kind then table.insert(parts, "(damaged)") end
    return table.concat(parts, " ")
end

local function list_chunks(tree, message)
    tree:add(f.message_length, message.size):set_generated(true)
    local item = tree:add(f.chunk_count, message.count)
    item:set_generated(true)
    for _, number in ipairs(message.frames) do item:add(f.chunk, number):set_generated(true) end
end

local function show_bytes(bytes, tvb, tree)
    if bytes ~= "" then return dissect_message(bytes, tvb, tree, frame) end
    tree:add_proto_expert_info(e.damaged, "The message has no bytes")
    return nil
end

-- Shows the message that the last chunk completes.
local function show_reassembled(tree, message)
    list_chunks(tree, message)
    if message.data == nil then
        local reason = message.fate or "its chunks are not kept any longer"
        tree:add_proto_expert_info(e.unshown, "The message is not reassembled: " .. reason)
        return nil
    end
    local tvb = nil
    if message.data ~= "" then
        tvb = ByteArray.new(message.data, true):tvb("Message " .. message.seq_no)
    end
    return show_bytes(message.data, tvb, tree)
end

-- Shows to which message a chunk belongs, and the message itself when the chunk is its last one.
-- `payload` is nil when the chunk is cut. Returns a text for the info column.
local function show_message(tree, header, place, payload, tvb)
    local message, summary = place.message, nil
    if header.is_first and header.is_last then
        if payload then summary = show_bytes(payload, tvb, tree) end
    elseif message and header.is_last then
        summary = show_reassembled(tree, message)
    elseif message and message.last_frame then
        tree:add(f.reassembled_in, message.last_frame):set_generated(true)
    elseif message and message.fate then
        tree:add_proto_expert_info(e.bad_chunk, message.fate)
    end
    if summary then return summary_text(summary, header.seq_no) end
    return "chunk of " .. header_text(header)
end

-- `stop` is the end of the bytes that are there. The chunk is cut when it ends later.
local function dissect_chunk(tvb, at, stop, header, pinfo, tree)
    local begin = at + header.size
    local size = stop - begin
    local is_cut = size < header.length
    local range = size > 0 and tvb(begin, size) or nil
    local payload = nil
    if not is_cut then payload = range and range:raw() or "" end
    local item = tree:add(tmsg, tvb(at, stop - at))
    item:append_text(", " .. header_text(header))
    local place = place_of_chunk(pinfo, header, payload)
    if frame.left > 0 then
        frame.left = frame.left - 12
        add_header(item, tvb, at, header)
        if range then item:add(f.payload, range) end
    end
    if is_cut then
        item:add_proto_expert_info(e.cut, "Bytes of the chunk are not in the capture")
    end
    if place.error then item:add_proto_expert_info(e.bad_chunk, place.error) end
    show_info(pinfo, show_message(item, header, place, payload, range and range:tvb()))
end

-- Shows bytes without a whole chunk header.
local function show_bare_bytes(tvb, at, pinfo, tree, expert, text)
    local item = tree:add(tmsg, tvb(at))
    item:add(f.cut, tvb(at))
    item:add_proto_expert_info(expert, text)
    frame.chunks = frame.chunks + 1
    show_info(pinfo, text)
end

-- Asks TCP for the rest of a chunk. Returns false when no more bytes come.
local function ask_for_rest(tvb, at, header, pinfo)
    if not tmsg.prefs.desegment or pinfo.can_desegment == 0 then return false end
    pinfo.desegment_offset = at
    pinfo.desegment_len = header and at + header.size + header.length - tvb:len() or
        DESEGMENT_ONE_MORE_SEGMENT
    return true
end

function tmsg.dissector(tvb, pinfo, tree)
    begin_call(pinfo)
    local at = 0
    while at < tvb:len() do
        local header = read_header(tvb, at)
        local stop = header and at + header.size + header.length
        if not header or stop > tvb:len() then
            -- Behind a gap in the capture, these may be bytes from within a chunk. Their length
            -- would take all that follows for one chunk.
            if header and is_bad(header) then
                show_bare_bytes(tvb, at, pinfo, tree, e.bad_header, "no chunk begins here")
                break
            end
            if ask_for_rest(tvb, at, header, pinfo) then break end
            if not header then
                show_bare_bytes(tvb, at, pinfo, tree, e.cut, "cut chunk header")
                break
            end
            stop = tvb:len()
        end
        dissect_chunk(tvb, at, stop, header, pinfo, tree)
        at = stop
    end
    return tvb:len()
end

-- How traffic is found

-- A connection is recognised by the first chunk of a message.
local function begins_message(tvb)
    local header = read_header(tvb, 0)
    if not header or not header.is_first or is_bad(header) then return false end
    if header.length < 2 or tvb:len() < header.size + 2 then return false end
    local tags = tvb(header.size, 2):uint()
    if tags ~= 0x0001 and tags ~= 0x0203 and tags ~= 0x0204 then return false end
    local last = header.size + header.length - 1
    if not header.is_last or last >= tvb:len() then return true end
    local ending = tvb(last, 1):uint()
    return ending == (tags == 0x0001 and 0x80 or 0x82)
end

tmsg:register_heuristic("tcp", function(tvb, pinfo, tree)
    if not begins_message(tvb) then return false end
    tmsg.dissector(tvb, pinfo, tree)
    pinfo.conversation = tmsg
    return true
end)

local tcp_ports = DissectorTable.get("tcp.port")
local ports = ""

tcp_ports:add_for_decode_as(tmsg)

function tmsg.prefs_changed()
    if tmsg.prefs.ports == ports then return end
    if ports ~= "" then tcp_ports:remove(ports, tmsg) end
    ports = tmsg.prefs.ports
    if ports ~= "" then tcp_ports:add(ports, tmsg) end
end
