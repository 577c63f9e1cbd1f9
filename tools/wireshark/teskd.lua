-- What the gateway and its neighbours say to each other, for Wireshark and tshark:
--
--   dorn   the host link: frames over TCP, notifications over UDP
--   aams   the text inside frames of type 0xFE
--   tesk   the slot machines' messages, over telnet with COM-PORT-OPTION, and inside the other two
--
-- Load it with "-X lua_script:teskd.lua", or copy it into the personal Lua plugins directory. Ports
-- are preferences: "-o dorn.tcp_ports:5001", "-o dorn.udp_ports:5001", "-o tesk.tcp_ports:2100,2200".
-- Dorn frames are found on other ports too, by their looks.

local dorn = Proto("dorn", "Dorn Host Link")
local aams = Proto("aams", "AAMS Message")
local tesk = Proto("tesk", "Tesk Slot-Machine Link")

dorn.prefs.tcp_ports = Pref.range("TCP ports", "5001", "Where the gateway listens for hosts", 65535)
dorn.prefs.udp_ports = Pref.range("UDP ports", "5001", "Where the notification server listens", 65535)
tesk.prefs.tcp_ports = Pref.range("TCP ports", "2100,2200,2300,2400",
                                  "Telnet endpoints of the serial-port server", 65535)

---------------------------------------------------------------------------------------------------
-- Words

local KINDS = {
    [0x81] = "Regular", [0xAB] = "Failed", [0xFD] = "None of the machines is known",
    [0xFE] = "Timed out",
}
local TYPES = {
    [1] = "Counters", [2] = "Lists by fields", [3] = "Lists by numbers", [4] = "Times", [5] = "Value",
    [6] = "Message", [7] = "Software version", [8] = "Machines", [0xFE] = "AAMS",
}
local OUTCOMES = {
    [0] = "00", [1] = "1A", [2] = "1B", [3] = "1C", [4] = "1D", [5] = "1E", [6] = "1F", [7] = "1G",
    [8] = "1H", [9] = "FF",
}
local SELECTORS = { [0] = "Every known machine" }
local KNOWN = { [0] = "Known", [1] = "Not known" }
local STATUS = { [0] = "Bad", [1] = "Good" }

local AAMS_CODES = {
    [1] = "Date and time wanted", [2] = "External parameters wanted",
    [3] = "Identification after a software change", [4] = "Result of a polling pass",
    [5] = "Counter reading failed a check",
    [501] = "Identification", [502] = "Machines and their newest readings",
    [503] = "All readings of a machine", [504] = "Failed checks of a machine",
    [505] = "External parameters", [506] = "Set the external parameters", [507] = "Set date and time",
}
local AAMS_RESULTS = {
    ["00"] = "success", ["0A"] = "identification not available", ["0B"] = "no machine has been read yet",
    ["0C"] = "unknown machine", ["0D"] = "no reading of this machine", ["0E"] = "no failed check",
    ["0F"] = "parameters not available", ["FF"] = "date and time could not be set",
}
local AAMS_CHECKS = {
    ["31"] = "item 3 is negative or not a whole number", ["32"] = "CNTTOTIN is not a whole number",
    ["33"] = "item 4 is negative or not a whole number", ["34"] = "CNTTOTOT is not a whole number",
    ["35"] = "item 5 is negative",
    ["36"] = "CNTCL is 0, but items 3 and 4 differ from CNTTOTIN and CNTTOTOT",
    ["37"] = "CNTCL is above 0, but item 3 or 4 exceeds CNTTOTIN or CNTTOTOT",
    ["38"] = "a counter went backwards", ["39"] = "item 3 is no multiple of 50",
    ["40"] = "CNTTOTIN is no multiple of 50", ["41"] = "item 5 is above 14000",
}
local AAMS_STATES = {
    ["1"] = "not polled yet", ["3"] = "first polling pass", ["4"] = "a later polling pass",
}

local TESK_IDS = {
    ["113"] = "Counters", ["115"] = "Lists by fields", ["117"] = "Times", ["119"] = "Lists by numbers",
    ["150"] = "Acknowledgement",
}

local TELNET_COMMANDS = {
    [0xF0] = "SE", [0xF1] = "NOP", [0xF2] = "DM", [0xF3] = "BRK", [0xF4] = "IP", [0xF5] = "AO",
    [0xF6] = "AYT", [0xF7] = "EC", [0xF8] = "EL", [0xF9] = "GA", [0xFA] = "SB", [0xFB] = "WILL",
    [0xFC] = "WONT", [0xFD] = "DO", [0xFE] = "DONT",
}
local TELNET_OPTIONS = { [0] = "BINARY", [3] = "SUPPRESS-GO-AHEAD", [44] = "COM-PORT-OPTION" }
local COM_PORT_COMMANDS = {
    [0] = "SIGNATURE", [1] = "SET-BAUDRATE", [2] = "SET-DATASIZE", [3] = "SET-PARITY",
    [4] = "SET-STOPSIZE", [5] = "SET-CONTROL", [6] = "NOTIFY-LINESTATE", [7] = "NOTIFY-MODEMSTATE",
    [8] = "FLOWCONTROL-SUSPEND", [9] = "FLOWCONTROL-RESUME", [10] = "SET-LINESTATE-MASK",
    [11] = "SET-MODEMSTATE-MASK", [12] = "PURGE-DATA",
}
for command = 0, 12 do  -- the server's answers
    COM_PORT_COMMANDS[command + 100] = COM_PORT_COMMANDS[command] .. " (server)"
end

---------------------------------------------------------------------------------------------------
-- Fields

-- Registers a protocol's fields under its name and returns them by the rest of theirs.
local function fieldsOf(proto, list)
    local fields, registered = {}, {}
    for _, entry in ipairs(list) do
        local make, name, label = entry[1], entry[2], entry[3]
        local field = make(proto.name:lower() .. "." .. name, label, table.unpack(entry, 4))
        fields[name] = field
        registered[#registered + 1] = field
    end
    proto.fields = registered
    return fields
end

local uint8, uint16, uint32 = ProtoField.uint8, ProtoField.uint16, ProtoField.uint32
local int32 = ProtoField.int32
local text, bytes, framenum = ProtoField.string, ProtoField.bytes, ProtoField.framenum

local d = fieldsOf(dorn, {
    { uint8, "start", "Start", base.HEX },
    { uint8, "kind", "Kind", base.HEX, KINDS },
    { uint8, "constant", "Constant", base.HEX },
    { uint8, "type", "Type", base.DEC, TYPES },
    { uint32, "length", "Length behind the header" },
    { ProtoField.ether, "station", "Station address" },
    { bytes, "reserved", "Reserved" },
    { uint32, "identifier_a", "Identifier A" },
    { uint32, "identifier_b", "Identifier B" },
    { uint8, "checksum", "Checksum", base.HEX },
    { uint8, "checksum.status", "Checksum status", base.DEC, STATUS },
    { ProtoField.bool, "request", "Request" },
    { ProtoField.bool, "answer", "Answer" },
    { framenum, "request_in", "Request in", base.NONE, frametype.REQUEST },
    { framenum, "answer_in", "First answer in", base.NONE, frametype.RESPONSE },
    { ProtoField.bool, "unanswered", "No answer" },
    { ProtoField.relative_time, "time", "Time since the request" },
    { uint8, "selector", "Selector", base.DEC, SELECTORS },
    { text, "name", "Machine" },
    { text, "field_a", "Field A" },
    { text, "field_b", "Field B" },
    { uint16, "number_x", "Number X" },
    { uint16, "number_y", "Number Y" },
    { uint8, "code", "Message to send", base.DEC },
    { bytes, "unnamed", "Four further bytes" },
    { text, "payload", "Payload" },
    { text, "date", "Date of the answer" },
    { uint8, "machines", "Machines asked" },
    { uint8, "number", "Number of the answer" },
    { uint8, "pages", "Pages" },
    { uint8, "page", "Page" },
    { uint8, "one", "Always 1" },
    { text, "machine_date", "Date of the machine" },
    { uint8, "outcome", "Outcome", base.DEC, OUTCOMES },
    { int32, "cnttotin", "CNTTOTIN" },
    { int32, "cnttotot", "CNTTOTOT" },
    { uint16, "cntcl", "CNTCL" },
    { int32, "item3", "Item 3" },
    { int32, "item4", "Item 4" },
    { uint16, "item5", "Item 5" },
    { uint8, "entries", "Entries on this page" },
    { text, "entry.name", "Entry" },
    { uint16, "entry.values", "Values" },
    { uint8, "value.number", "Number" },
    { int32, "value.value", "Value" },
    { uint8, "times.first", "First number" },
    { uint8, "times.second", "Second number" },
    { uint8, "times.digit", "Digit" },
    { int32, "answer.value", "Value" },
    { text, "answer.text", "Text" },
    { uint32, "message_length", "Length of the message" },
    { text, "version", "Software version" },
    { uint8, "count", "Machines" },
    { uint8, "machine.port", "Serial port" },
    { uint8, "machine.zero", "Always 0" },
    { uint8, "machine.known", "Known", base.DEC, KNOWN },
    { bytes, "ignored", "Not used" },
    { bytes, "junk", "No frame" },
})

local a = fieldsOf(aams, {
    { uint32, "prefix", "Length prefix" },
    { uint16, "code", "Code id", base.DEC, AAMS_CODES },
    { uint32, "length", "Length field", base.DEC_HEX },
    { text, "body", "Body" },
    { text, "mac", "MAC address" },
    { text, "result", "Result" },
    { text, "model", "Model" },
    { text, "software", "Software version" },
    { text, "installed", "Software installed" },
    { text, "manufacturer", "Manufacturer" },
    { text, "tesk_connection", "Tesk connection type" },
    { text, "connection", "Connection type" },
    { text, "state", "State" },
    { text, "context", "Context" },
    { text, "check", "Failed check" },
    { text, "reading_time", "Time of the reading" },
    { text, "time", "Time of the answer" },
    { text, "machine", "Machine" },
    { text, "date_time", "Date and time to set" },
    { text, "parameters", "External parameters" },
    { text, "period", "Minutes between two polling passes" },
    { text, "report", "Report polling passes" },
    { text, "report_none", "Report passes nobody answered" },
    { text, "delay", "Minutes from start to the first polling pass" },
})

local t = fieldsOf(tesk, {
    { text, "id", "Message ID" },
    { text, "length", "Len" },
    { text, "date", "Date" },
    { text, "code_id", "CodeId" },
    { text, "outcome", "Outcome" },
    { text, "body", "Body" },
    { bytes, "trailer", "Trailer" },
    { text, "payload", "Payload" },
    { bytes, "padding", "Padding" },
    { ProtoField.bool, "request", "Request" },
    { ProtoField.bool, "answer", "Answer" },
    { ProtoField.bool, "acknowledgement", "Acknowledgement" },
    { framenum, "request_in", "Request in", base.NONE, frametype.REQUEST },
    { framenum, "answer_in", "Answer in", base.NONE, frametype.RESPONSE },
    { framenum, "acknowledges", "Acknowledges the answer in", base.NONE, frametype.ACK },
    { ProtoField.relative_time, "time", "Time since the request" },
    { uint8, "telnet.command", "Telnet command", base.HEX, TELNET_COMMANDS },
    { uint8, "telnet.option", "Telnet option", base.DEC, TELNET_OPTIONS },
    { uint8, "com_port.command", "COM-PORT-OPTION", base.DEC, COM_PORT_COMMANDS },
    { uint32, "com_port.baudrate", "Baud rate" },
    { bytes, "telnet.value", "Value" },
    { bytes, "junk", "No message" },
})

local function malformedOf(proto)
    return ProtoExpert.new(proto.name:lower() .. ".malformed", "Malformed", expert.group.MALFORMED,
                           expert.severity.ERROR)
end

local expertDorn, expertAams, expertTesk = malformedOf(dorn), malformedOf(aams), malformedOf(tesk)
local expertChecksum = ProtoExpert.new("dorn.checksum.bad", "Bad checksum", expert.group.CHECKSUM,
                                       expert.severity.ERROR)
local expertKind = ProtoExpert.new("dorn.refused", "The request was not answered regularly",
                                   expert.group.RESPONSE_CODE, expert.severity.WARN)
local expertStray = ProtoExpert.new("tesk.telnet.stray", "0xFF without a telnet command behind it",
                                    expert.group.PROTOCOL, expert.severity.WARN)
local expertLong = ProtoExpert.new("dorn.long", "not all fields are shown", expert.group.UNDECODED,
                                   expert.severity.WARN)
dorn.experts = { expertDorn, expertChecksum, expertKind, expertLong }
aams.experts = { expertAams }
tesk.experts = { expertTesk, expertStray }

---------------------------------------------------------------------------------------------------
-- Reading

-- Goes through a range of bytes from its start. What is asked for beyond the end is a Malformed
-- error, which guarded() turns into an expert item.
local Reader = {}
Reader.__index = Reader

local Malformed = {}

local function malformed(reason)
    error(setmetatable({ reason = reason }, Malformed), 0)
end

-- What a frame or message may have: Wireshark has a limit of its own, which is an error.
local MOST_FIELDS = 100000
local fieldsLeft = MOST_FIELDS

-- Runs a function; what it finds malformed is noted on the item.
local function guarded(item, expertItem, run)
    local ok, problem = pcall(run)
    if ok then return end
    if getmetatable(problem) ~= Malformed then error(problem, 0) end
    if fieldsLeft < 0 then
        item:add_proto_expert_info(expertLong)
    else
        item:add_proto_expert_info(expertItem, problem.reason)
    end
end

function Reader.new(range)
    return setmetatable({ range = range, pos = 0, size = range and range:len() or 0 }, Reader)
end

function Reader:left()
    return self.size - self.pos
end

function Reader:raw()
    self.bytes = self.bytes or (self.range and self.range:raw() or "")
    return self.bytes
end

function Reader:take(count)
    fieldsLeft = fieldsLeft - 1
    if fieldsLeft < 0 then malformed("") end
    if count > self:left() then
        malformed(string.format("%d bytes are missing", count - self:left()))
    end
    local range = self.range:range(self.pos, count)
    self.pos = self.pos + count
    return range
end

-- Shows a number, or bytes, and returns the item and the range.
function Reader:add(tree, field, count)
    local range = self:take(count)
    return tree:add(field, range), range
end

function Reader:number(tree, field, count)
    local _, range = self:add(tree, field, count)
    return range:uint()
end

-- Shows text that fills its bytes up with zeros, and returns it. No bytes, no item. Wireshark takes the
-- text from the bytes: one that it is given it cuts where bytes above 127 have made it longer.
function Reader:text(tree, field, count)
    if count == 0 then return "" end
    local range = self:take(count)
    tree:add(field, range)
    return range:string():match("^[^\0]*")
end

function Reader:rest(tree, field)
    if self:left() > 0 then self:add(tree, field, self:left()) end
end

function Reader:expectEnd()
    if self:left() > 0 then malformed(string.format("%d bytes are left over", self:left())) end
end

---------------------------------------------------------------------------------------------------
-- Requests and answers, kept for as long as a capture is open

-- What was found at the first reading of the capture: later ones only show it.
local links       -- of a frame or message, by its key
local askers      -- of a conversation, when no port tells who it is
local open        -- lists of requests whose last answer is still to come, by key

dorn.init = function()
    links, askers, open = {}, {}, {}
end

-- The same for both directions. Fields such as "tcp.stream" are not always there at the first reading.
local function conversation(pinfo)
    local source = tostring(pinfo.src) .. " " .. pinfo.src_port
    local destination = tostring(pinfo.dst) .. " " .. pinfo.dst_port
    local ends = { source, destination }
    table.sort(ends)
    return string.format("%d %s %s", pinfo.port_type, ends[1], ends[2])
end

local function linkOf(key)
    links[key] = links[key] or {}
    return links[key]
end

-- A clock that was set in between may give less than nothing; both parts have the same sign then.
local function elapsed(from, to)
    local sign = to < from and -1 or 1
    local seconds, fraction = math.modf(math.abs(to - from))
    return NSTime.new(sign * seconds, sign * math.floor(fraction * 1e9 + 0.5))
end

local function showLink(tree, fields, link)
    if link.request then
        tree:add(fields.request_in, link.request):set_generated()
        tree:add(fields.time, link.time):set_generated()
    end
    if link.answer then tree:add(fields.answer_in, link.answer):set_generated() end
end

---------------------------------------------------------------------------------------------------
-- What does not end in the packet that it starts in

-- Whether the rest may come in later segments. If so they are waited for, size bytes or just more.
local function awaitRest(pinfo, pos, size)
    if pinfo.can_desegment == 0 then return false end
    pinfo.desegment_offset = pos
    pinfo.desegment_len = size or DESEGMENT_ONE_MORE_SEGMENT
    return true
end

local function cutReason(tvb, what)
    local whole = tvb:reported_length_remaining(0) == tvb:len()
    return what .. (whole and " that is cut off" or " that was not captured whole")
end

---------------------------------------------------------------------------------------------------
-- Tesk messages

local TRAILER_SIZE = 268
local MOST_HEADER = 20  -- no message needs more to show its length

local function describe(id)
    return TESK_IDS[id] and id .. " (" .. TESK_IDS[id] .. ")" or id
end

-- Text up to the next "~", which is passed over.
local function teskField(reader, tree, field)
    local stop = reader:raw():find("~", reader.pos + 1, true)
    if not stop then malformed("a \"~\" is missing") end
    local value = reader:text(tree, field, stop - 1 - reader.pos)
    reader:take(1)
    return value
end

local function teskAnswer(reader, tree)
    local answer = { id = teskField(reader, tree, t.id) }
    local digits = teskField(reader, tree, t.length)
    if not digits:match("^%x+$") or tonumber(digits, 16) ~= reader.size then
        malformed("Len does not count the message's bytes")
    end
    teskField(reader, tree, t.date)
    answer.machine = teskField(reader, tree, t.code_id)
    answer.outcome = reader:text(tree, t.outcome, 2)
    if reader:left() > 0 and reader:raw():byte(reader.pos + 1) == 0x7E then reader:take(1) end
    local signs = answer.machine:match("^.[NP]") and reader:left() >= TRAILER_SIZE
    reader:text(tree, t.body, reader:left() - (signs and TRAILER_SIZE or 0))
    reader:rest(tree, t.trailer)
    return answer
end

-- A request's header is always 8 bytes, whatever the size of its ID.
local function teskRequest(reader, tree)
    local request = { id = teskField(reader, tree, t.id) }
    reader:text(tree, t.length, 4)
    if reader.pos < 8 then reader:add(tree, t.padding, 8 - reader.pos) end
    if reader:left() > 0 and reader:raw():byte(reader.pos + 1) == 0x7E then reader:take(1) end
    request.payload = reader:text(tree, t.payload, reader:left())
    return request
end

-- An answer inside something else.
local function embeddedAnswer(range, tree)
    local item = tree:add(tesk, range)
    guarded(item, expertTesk, function()
        local answer = teskAnswer(Reader.new(range), item)
        item:append_text(", " .. describe(answer.id) .. ", " .. answer.machine)
    end)
end

---------------------------------------------------------------------------------------------------
-- AAMS

-- "240131235959" as "2024-01-31 23:59:59"; nothing for what is no time.
local function stampWords(stamp)
    local readable, count = stamp:gsub("^(%d%d)(%d%d)(%d%d)(%d%d)(%d%d)(%d%d)$", "20%1-%2-%3 %4:%5:%6")
    return count == 1 and readable or nil
end

local function wordsOf(codes)
    return function(code) return codes[code] or "not known" end
end

local function yesOrNo(flag)
    return tonumber(flag) == 0 and "no" or "yes"
end

-- Shows a value as it stands, and behind it what it means.
local function addWithWords(tree, field, range, value, words)
    local item = range and tree:add(field, range) or tree:add(field, value)
    local meaning = words and words(value)
    if meaning then item:append_text(" (" .. meaning .. ")") end
end

-- Fields with a "-" in front of each.
local AamsReader = setmetatable({}, { __index = Reader })
AamsReader.__index = AamsReader

function AamsReader.new(range)
    return setmetatable(Reader.new(range), AamsReader)
end

function AamsReader:peek()
    return self:raw():match("^%-([^-]*)", self.pos + 1)
end

function AamsReader:separator()
    if self:left() == 0 then malformed("a field is missing") end
    if not self:peek() then malformed("a \"-\" is missing in front of a field") end
    self:take(1)
end

-- The next field, with what words(value) says about it when there is such a function.
function AamsReader:field(tree, field, words)
    local value = self:peek()
    self:separator()
    addWithWords(tree, field, #value > 0 and self:take(#value), value, words)
    return value
end

-- A slot machine's message, which counts its own bytes and may have a "-" among them.
function AamsReader:message(tree)
    self:separator()
    if self:left() == 0 or self:peek() then return end
    -- The length is near the start. A search to the end, for each of many messages, might last for hours.
    local start = self:raw():sub(self.pos + 1, self.pos + MOST_HEADER)
    local length = start:match("^[^~]*~(%x+)~")
    if not length then malformed("a machine's message without a length") end
    embeddedAnswer(self:take(tonumber(length, 16)), tree)
end

function AamsReader:stamp(tree, field)
    self:field(tree, field, stampWords)
end

-- "10!1!0!5". Any character separates, as it does for the gateway.
local function aamsParameters(range, tree)
    local whole = range:raw()
    local item = tree:add(a.parameters, range)
    local fields, pos = { a.period, a.report, a.report_none, a.delay }, 1
    for i, field in ipairs(fields) do
        local start, stop = whole:find("^%s*[+-]?%d+", pos)
        if not start then malformed(string.format("external parameter %d is no number", i)) end
        local value = whole:sub(start, stop)
        local words = (field == a.report or field == a.report_none) and yesOrNo
        addWithWords(item, field, range:range(start - 1, stop - start + 1), value, words)
        pos = stop + 2
    end
end

local function aamsIdentification(reader, tree)
    reader:field(tree, a.model)
    reader:field(tree, a.software)
    reader:stamp(tree, a.installed)
    reader:field(tree, a.manufacturer)
    reader:field(tree, a.tesk_connection)
    reader:field(tree, a.connection)
    reader:stamp(tree, a.time)
end

local function aamsReading(reader, tree)
    reader:stamp(tree, a.reading_time)
    reader:message(tree)
end

-- A polling pass that nobody answered ends behind the state.
local function aamsMachines(reader, tree)
    reader:field(tree, a.state, wordsOf(AAMS_STATES))
    while reader:left() > 0 do
        if #(reader:peek() or "") + 1 == reader:left() then return reader:stamp(tree, a.time) end
        aamsReading(reader, tree)
    end
end

local function aamsHistory(reader, tree)
    while #(reader:peek() or "") == 2 do
        reader:field(tree, a.context)
        aamsReading(reader, tree)
    end
    reader:stamp(tree, a.time)
end

local function aamsFailedChecks(reader, tree)
    reader:field(tree, a.state, wordsOf(AAMS_STATES))
    while #(reader:peek() or "") == 2 do reader:field(tree, a.check, wordsOf(AAMS_CHECKS)) end
    aamsReading(reader, tree)
    aamsReading(reader, tree)
    reader:stamp(tree, a.time)
end

local function aamsParameterAnswer(reader, tree)
    local value = reader:peek() or ""
    reader:separator()
    aamsParameters(reader:take(#value), tree)
    reader:stamp(tree, a.time)
end

local AAMS_ANSWERS = {
    [3] = aamsIdentification, [501] = aamsIdentification, [4] = aamsMachines, [502] = aamsMachines,
    [503] = aamsHistory, [504] = aamsFailedChecks, [505] = aamsParameterAnswer,
}

local function aamsFailedCheck(reader, tree)
    reader:field(tree, a.context)
    reader:field(tree, a.check, wordsOf(AAMS_CHECKS))
    reader:message(tree)
    reader:stamp(tree, a.time)
    if reader:left() == 0 then return end
    reader:message(tree)
    reader:stamp(tree, a.reading_time)
end

-- What the gateway says: answers to 501 to 507, and notifications.
local function aamsFromGateway(code, range, tree)
    local reader = AamsReader.new(range)
    if reader:left() == 0 then return end
    if not AAMS_CODES[code] then return tree:add(a.body, range) end  -- a host's request, sent back
    reader:field(tree, a.mac)
    if code == 5 then
        aamsFailedCheck(reader, tree)
    elseif code > 2 then
        local result = reader:field(tree, a.result, wordsOf(AAMS_RESULTS))
        if result == "00" and AAMS_ANSWERS[code] then AAMS_ANSWERS[code](reader, tree) end
    end
    reader:expectEnd()
end

-- What it is told: requests, and answers to notifications. One character is in front of the text.
local function aamsToGateway(code, range, tree)
    local reader = Reader.new(range)
    if reader:left() < 2 then return end
    reader:take(1)
    local content = reader:take(reader:left())
    if code == 503 or code == 504 then
        tree:add(a.machine, content)
    elseif code == 506 or code == 2 then
        aamsParameters(content, tree)
    elseif code == 507 or code == 1 then
        addWithWords(tree, a.date_time, content, content:string(), stampWords)
    else
        tree:add(a.body, content)
    end
end

-- Shows a frame's whole body and returns its code id.
local function aamsMessage(range, tree, fromGateway, info)
    local item = tree:add(aams, range)
    guarded(item, expertAams, function()
        local reader = Reader.new(range)
        local prefix = reader:number(item, a.prefix, 4)
        local digits = reader:raw():match("^%d%d%d", 5)
        if not digits then malformed("no code id") end
        local code = tonumber(digits, 10)
        item:add(a.code, reader:take(3), code)
        info.text = string.format("%s %d (%s)", info.text, code, AAMS_CODES[code] or "not known")
        item:append_text(string.format(" %d: %s", code, AAMS_CODES[code] or "not known"))
        reader:take(1)
        digits = reader:raw():match("^%x+", 9)
        if not digits or #digits > 8 then malformed("no length field") end
        local length = tonumber(digits, 16)
        item:add(a.length, reader:take(#digits), length)
        -- The field's own digits count as four, also when it needs more.
        if length ~= prefix or length ~= reader:left() + 8 then malformed("the lengths differ") end
        if reader:left() == 0 then return end
        local body = reader:take(reader:left())
        if fromGateway then aamsFromGateway(code, body, item) else aamsToGateway(code, body, item) end
    end)
end

---------------------------------------------------------------------------------------------------
-- Dorn bodies

local function dornName(reader, tree)
    return reader:text(tree, d.name, 11)
end

local function dornSelected(reader, tree, info)
    if reader:number(tree, d.selector, 1) ~= 0 then info.single = true end
end

local DORN_REQUESTS = {
    [1] = function(reader, tree, info)
        dornSelected(reader, tree, info)
        reader:text(tree, d.name, reader:left())
    end,
    [2] = function(reader, tree)
        reader:text(tree, d.field_a, 8)
        reader:text(tree, d.field_b, 8)
        dornName(reader, tree)
    end,
    [3] = function(reader, tree)
        reader:add(tree, d.number_x, 2)
        reader:add(tree, d.number_y, 2)
        dornName(reader, tree)
    end,
    [4] = function(reader, tree, info)  -- what is left out at the end counts as zeros
        reader:text(tree, d.field_a, math.min(8, reader:left()))
        reader:text(tree, d.field_b, math.min(8, reader:left()))
        if reader:left() > 0 then dornSelected(reader, tree, info) end
        reader:text(tree, d.name, math.min(11, reader:left()))
    end,
    [5] = function(reader, tree, info)
        dornSelected(reader, tree, info)
        dornName(reader, tree)
        reader:add(tree, d.code, 1)
    end,
    [6] = function(reader, tree)
        dornName(reader, tree)
        reader:add(tree, d.unnamed, 4)
        reader:text(tree, d.payload, reader:left())
    end,
    [7] = function(reader, tree) reader:rest(tree, d.ignored) end,
    [8] = function(reader, tree) reader:rest(tree, d.ignored) end,
}

-- "2 of 3" in the list of packets; the last one ends the request.
local function countAnswer(info, what, number, total)
    info.count = string.format(", %s%d of %d", what, number, total)
    info.last = number == total
end

local function dornAnswerHead(reader, tree, info)
    reader:text(tree, d.date, 8)
    local total = reader:number(tree, d.machines, 1)
    countAnswer(info, "", reader:number(tree, d.number, 1), total)
    reader:add(tree, d.one, 1)
    reader:text(tree, d.machine_date, 11)
    reader:add(tree, d.outcome, 1)
end

local function dornCounters(reader, tree, info)
    dornAnswerHead(reader, tree, info)
    reader:add(tree, d.cnttotin, 4)
    reader:add(tree, d.cnttotot, 4)
    reader:add(tree, d.cntcl, 2)
    reader:add(tree, d.item3, 4)
    reader:add(tree, d.item4, 4)
    reader:add(tree, d.item5, 2)
end

-- Entries of a name and numbered values, of which showValue() shows one.
local function dornEntries(reader, tree, valueSize, showValue)
    for _ = 1, reader:number(tree, d.entries, 1) do
        local range = reader:take(8)
        local item = tree:add(d["entry.name"], range)
        local count = reader:number(item, d["entry.values"], 2)
        for _ = 1, count do showValue(Reader.new(reader:take(valueSize)), item) end
    end
end

local function dornPageHead(reader, tree, info)
    reader:text(tree, d.date, 8)
    local total = reader:number(tree, d.pages, 1)
    countAnswer(info, "page ", reader:number(tree, d.page, 1), total)
end

local function dornLists(reader, tree, info)
    dornPageHead(reader, tree, info)
    reader:text(tree, d.machine_date, 11)
    reader:add(tree, d.outcome, 1)
    dornEntries(reader, tree, 5, function(value, item)
        local number = value:add(item, d["value.number"], 1)
        value:add(number, d["value.value"], 4)
    end)
end

local function dornTimes(reader, tree, info)
    dornPageHead(reader, tree, info)
    reader:add(tree, d.outcome, 1)
    reader:add(tree, d.one, 1)
    reader:text(tree, d.machine_date, 11)
    dornEntries(reader, tree, 3, function(value, item)
        local first = value:add(item, d["times.first"], 1)
        value:add(first, d["times.second"], 1)
        value:add(first, d["times.digit"], 1)
    end)
end

local function dornValue(reader, tree, info)
    dornAnswerHead(reader, tree, info)
    reader:add(tree, d["answer.value"], 4)
    reader:text(tree, d["answer.text"], 8)
end

local function dornMachines(reader, tree)
    for _ = 1, reader:number(tree, d.count, 1) do
        local range = reader:take(11)
        local item = tree:add(d.name, range)
        reader:add(item, d["machine.port"], 1)
        reader:add(item, d["machine.zero"], 1)
        reader:add(item, d["machine.known"], 1)
    end
end

local DORN_ANSWERS = {
    [1] = dornCounters, [2] = dornLists, [3] = dornLists, [4] = dornTimes, [5] = dornValue,
    [6] = function(reader, tree)
        embeddedAnswer(reader:take(reader:number(tree, d.message_length, 4)), tree)
    end,
    [7] = function(reader, tree) reader:text(tree, d.version, 30) end,
    [8] = dornMachines,
}

---------------------------------------------------------------------------------------------------
-- Dorn frames

local HEADER_SIZE = 42
local LONGEST = 16 * 1024 * 1024
local REGULAR, NOBODY_KNOWN, AAMS_TYPE = 0x81, 0xFD, 0xFE

-- Preferences as sets of ports.
local function portsOf(range)
    local ports = {}
    for first, last in tostring(range):gmatch("(%d+)%-?(%d*)") do
        for port = tonumber(first), tonumber(last) or tonumber(first) do ports[port] = true end
    end
    return ports
end

local dornPorts = { tcp = {}, udp = {} }

-- Whether the packet goes to the side that is asked. Where no port tells, whoever spoke first asks.
local function goesToAsked(pinfo, transport)
    local ports = dornPorts[transport]
    if ports[pinfo.dst_port] then return true end
    if ports[pinfo.src_port] then return false end
    local key = conversation(pinfo)
    local sender = tostring(pinfo.src) .. " " .. pinfo.src_port
    askers[key] = askers[key] or sender
    return askers[key] == sender
end

local function openKey(frame, pinfo)
    return string.format("%s %d %d %d", conversation(pinfo), frame.type, frame.a, frame.b)
end

local function openRequest(frame, link, pinfo)
    local key = openKey(frame, pinfo)
    open[key] = open[key] or {}
    local waiting = open[key]
    while waiting[1] and waiting[1].refused do table.remove(waiting, 1) end
    waiting[#waiting + 1] = {
        link = link, frame = pinfo.number, at = pinfo.rel_ts, single = frame.info.single,
    }
end

-- One request may have many answers, and the last one tells that it is. When every machine was asked
-- others' answers may follow a refusal, so its request stays open until the next one.
local function closeRequest(frame, link, pinfo)
    local waiting = open[openKey(frame, pinfo)]
    local request = waiting and waiting[1]
    if not request then return end
    link.request, link.time = request.frame, elapsed(request.at, pinfo.rel_ts)
    request.link.answer = request.link.answer or pinfo.number
    local last = frame.info.last ~= false
    if frame.kind ~= REGULAR then
        request.refused = true
        last = request.single or frame.kind == NOBODY_KNOWN
    end
    if last then table.remove(waiting, 1) end
end

local function checksumOf(raw)
    local sum = 0
    for pos = 1, #raw, 4096 do
        local piece = { raw:byte(pos, math.min(pos + 4095, #raw)) }
        for i = 1, #piece do sum = sum + piece[i] end
    end
    return sum % 256
end

local function showChecksum(range, tree)
    local size = range:len()
    local expected = checksumOf(range:range(0, size - 1):raw())
    local byte = range:range(size - 1, 1)
    local good = byte:uint() == expected
    local item = tree:add(d.checksum, byte)
    item:append_text(good and " (good)" or string.format(" (should be 0x%02x)", expected))
    item:add(d["checksum.status"], good and 1 or 0):set_generated()
    if not good then item:add_proto_expert_info(expertChecksum) end
end

local function showHeader(reader, tree, frame)
    reader:add(tree, d.start, 1)
    local kind = reader:add(tree, d.kind, 1)
    reader:add(tree, d.constant, 1)
    reader:add(tree, d.type, 1)
    reader:add(tree, d.length, 4)
    reader:add(tree, d.station, 6)
    reader:add(tree, d.reserved, 20)
    reader:add(tree, d.identifier_a, 4)
    reader:add(tree, d.identifier_b, 4)
    if frame.kind ~= REGULAR then
        kind:add_proto_expert_info(expertKind, KINDS[frame.kind] or "A kind that does not exist")
    end
end

local function showBody(range, tree, frame, fromGateway)
    if frame.type == AAMS_TYPE then
        if range then aamsMessage(range, tree, fromGateway, frame.info) end
        return
    end
    local show = (frame.asks and DORN_REQUESTS or DORN_ANSWERS)[frame.type]
    if not show then malformed("a type that does not exist") end
    local reader = Reader.new(range)
    show(reader, tree, frame.info)
    if frame.asks and reader:left() > 0 then return reader:rest(tree, d.ignored) end
    reader:expectEnd()
end

-- A whole frame.
local function dornFrame(range, pinfo, root, transport)
    local frame = {
        kind = range:range(1, 1):uint(), type = range:range(3, 1):uint(),
        a = range:range(34, 4):uint(), b = range:range(38, 4):uint(),
        asks = goesToAsked(pinfo, transport),
    }
    frame.info = { text = TYPES[frame.type] or string.format("Type %d", frame.type) }
    -- Over TCP hosts ask the gateway; over UDP it asks the notification server.
    local fromGateway = frame.asks == (transport == "udp")
    local tree = root:add(dorn, range)
    tree:add(frame.asks and d.request or d.answer, true):set_generated()
    fieldsLeft = MOST_FIELDS
    showHeader(Reader.new(range), tree, frame)
    local size = range:len()
    guarded(tree, expertDorn, function()
        if frame.kind ~= REGULAR and size == HEADER_SIZE + 1 then return end
        local body = size > HEADER_SIZE + 1 and range:range(HEADER_SIZE, size - HEADER_SIZE - 1) or nil
        showBody(body, tree, frame, fromGateway)
    end)
    showChecksum(range, tree)

    local link = linkOf(string.format("%d %d %d %s", pinfo.number, range:offset(), range:len(),
                                      openKey(frame, pinfo)))
    if not pinfo.visited then (frame.asks and openRequest or closeRequest)(frame, link, pinfo) end
    showLink(tree, d, link)
    -- Known only when the whole capture has been read once.
    local unanswered = frame.asks and pinfo.visited and not link.answer
    if unanswered then tree:add(d.unanswered, true):set_generated() end

    local side = frame.asks and "request" or "answer"
    local kind = frame.kind ~= REGULAR and (KINDS[frame.kind] or "Not a kind") .. ": " or ""
    local info = string.format("%s%s %s%s [%d %d]", kind, frame.info.text, side, frame.info.count or "",
                               frame.a, frame.b)
    tree:append_text(", " .. info)
    return info
end

local function appendInfo(pinfo, info)
    if pinfo.private.teskd_info then
        pinfo.cols.info:append("; " .. info)
    else
        pinfo.cols.info:set(info)
    end
    pinfo.private.teskd_info = "1"
end

-- How many bytes a frame that starts here has: nothing when these are no frame's, 0 when too few
-- are there to know.
local function frameSize(range)
    local size = range:len()
    if range:range(0, 1):uint() ~= 0xFF then return nil end
    if size > 1 and not KINDS[range:range(1, 1):uint()] then return nil end
    if size < 8 then return 0 end
    local length = range:range(4, 4):uint()
    if length == 0 or length > LONGEST then return nil end
    return HEADER_SIZE + length
end

local function showJunk(range, pinfo, root, reason)
    local tree = root:add(dorn, range)
    tree:add(d.junk, range)
    tree:add_proto_expert_info(expertDorn, reason)
    appendInfo(pinfo, "Malformed: " .. reason)
end

local function dissectDorn(tvb, pinfo, root, transport)
    pinfo.cols.protocol = "Dorn"
    local pos, size = 0, tvb:len()
    while pos < size do
        local rest = tvb:range(pos)
        local whole = frameSize(rest)
        if not whole then
            showJunk(rest, pinfo, root, "this is no frame")
            return size
        end
        if whole == 0 or whole > size - pos then
            local missing = whole > 0 and whole - (size - pos) or nil
            if transport == "udp" or not awaitRest(pinfo, pos, missing) then
                showJunk(rest, pinfo, root, cutReason(tvb, "a frame"))
            end
            return size
        end
        appendInfo(pinfo, dornFrame(tvb:range(pos, whole), pinfo, root, transport))
        pos = pos + whole
    end
    return size
end

local function transportOf(pinfo)
    return pinfo.port_type == 3 and "udp" or "tcp"
end

function dorn.dissector(tvb, pinfo, root)
    if tvb:len() == 0 then return 0 end
    return dissectDorn(tvb, pinfo, root, transportOf(pinfo))
end

-- On other ports only what has a whole header that looks right in every respect.
local function looksLikeDorn(tvb)
    if tvb:len() < HEADER_SIZE then return false end
    local whole = frameSize(tvb:range())
    return whole and whole > 0 and tvb:range(2, 1):uint() == 2 and TYPES[tvb:range(3, 1):uint()] ~= nil
end

local function heuristic(transport)
    return function(tvb, pinfo, root)
        if not looksLikeDorn(tvb) then return false end
        pinfo.conversation = dorn
        dissectDorn(tvb, pinfo, root, transport)
        return true
    end
end

dorn:register_heuristic("tcp", heuristic("tcp"))
dorn:register_heuristic("udp", heuristic("udp"))

---------------------------------------------------------------------------------------------------
-- Tesk over telnet

local IAC, SE, SB, WILL, DONT = 0xFF, 0xF0, 0xFA, 0xFB, 0xFE
local COM_PORT_OPTION, SET_BAUDRATE = 44, 1
local LONGEST_SUBNEGOTIATION = 4096
local LONGEST_MESSAGE = 1024 * 1024

local teskPorts = {}
local teskLinks, teskOpen, teskPartial

tesk.init = function()
    teskLinks, teskOpen, teskPartial = {}, {}, {}
end

-- Where the subnegotiation that starts here ends. Nothing when its end is not there yet.
local function subnegotiationEnd(raw, pos)
    local at = pos + 2
    while true do
        at = raw:find("\255", at, true)
        if not at or at == #raw then return nil end
        if raw:byte(at + 1) == SE then return at + 1 end
        at = at + 2
    end
end

-- How many bytes of a command start here, "\255" at pos. Nothing when more are needed.
local function commandSize(raw, pos)
    local command = raw:byte(pos + 1)
    if not command then return nil end
    if command == SB then
        local stop = subnegotiationEnd(raw, pos)
        return stop and stop - pos + 1
    end
    if command < WILL or command > DONT then return 2 end
    return pos + 2 <= #raw and 3 or nil
end

-- These return the name of what they show.
local function showOption(range, tree)
    tree:add(t["telnet.option"], range)
    return TELNET_OPTIONS[range:uint()] or "option " .. range:uint()
end

local function showComPort(range, tree)
    local command = range:range(0, 1):uint()
    tree:add(t["com_port.command"], range:range(0, 1))
    if range:len() > 1 then
        local value = range:range(1)
        local isRate = command % 100 == SET_BAUDRATE and value:len() == 4
        tree:add(isRate and t["com_port.baudrate"] or t["telnet.value"], value)
    end
    return COM_PORT_COMMANDS[command] or "COM-PORT-OPTION " .. command
end

local function showSubnegotiation(range, tree)
    local size = range:len() - 4  -- its marks at both ends
    if size < 1 then return "SB" end
    local name = showOption(range:range(2, 1), tree)
    if size < 2 then return name end
    local content = range:range(3, size - 1)
    if range:range(2, 1):uint() == COM_PORT_OPTION then return showComPort(content, tree) end
    tree:add(t["telnet.value"], content)
    return name
end

local function showCommand(range, pinfo, root)
    local tree = root:add(tesk, range)
    local command = range:range(1, 1):uint()
    if command < SE then return tree:add_proto_expert_info(expertStray) end
    local item = tree:add(t["telnet.command"], range:range(1, 1))
    local info = TELNET_COMMANDS[command]
    if command == SB then
        info = showSubnegotiation(range, item)
    elseif range:len() == 3 then
        info = info .. " " .. showOption(range:range(2, 1), item)
    end
    tree:append_text(", " .. info)
    appendInfo(pinfo, info)
end

-- The length of the message that data starts with; nothing when these are no message's; 0 when too
-- few are there to know.
local function messageSize(data, answer)
    local digits = data:match(answer and "^%d+~(%x+)~" or "^%d+~(%x%x%x%x)")
    if digits and #digits <= 8 then
        local size = tonumber(digits, 16)
        if size >= 8 and size <= LONGEST_MESSAGE then return size end
        return nil
    end
    if #data < MOST_HEADER and (data:match("^%d*$") or data:match("^%d+~%x*$")) then return 0 end
    return nil
end

-- What has been read of a message with telnet in it, by who sends it: the next segment goes on from
-- there, since reading a long one anew with each of its segments might last for hours.
local function goneOn(raw, pos, sender)
    local known = teskPartial[sender]
    if known and raw:sub(pos, pos + #known.read - 1) == known.read then return known end
    return { read = "", data = {}, ends = {}, wanted = MOST_HEADER }
end

local function sizeOf(data, answer)
    return messageSize(table.concat(data, "", 1, math.min(#data, MOST_HEADER)), answer)
end

-- Reads until the message is whole or there is no more; "ends" has where each of its bytes ends.
local function readOn(known, raw, pos, answer)
    local at, data, ends = pos + #known.read, known.data, known.ends
    while at <= #raw do
        if #data == known.wanted then
            local size = sizeOf(data, answer) or 0
            if size <= known.wanted then break end
            known.wanted = size
        end
        local used, byte = 1, raw:sub(at, at)
        if byte == "\255" then
            used = commandSize(raw, at)
            if not used then break end
            if raw:byte(at + 1) ~= IAC then byte = nil end
        end
        at = at + used
        if byte then
            data[#data + 1] = byte
            ends[#ends + 1] = at - pos
        end
    end
    known.read = raw:sub(pos, at - 1)
end

-- The size of the message that starts here, as messageSize() has it. If the message is whole, also its
-- data, free of telnet, and how many bytes it takes.
local function messageAt(raw, pos, answer, sender)
    local head = raw:sub(pos, pos + MOST_HEADER - 1)
    if not head:find("\255", 1, true) then
        local size = messageSize(head, answer)
        if not size or size == 0 then return size end
        local data = raw:sub(pos, pos + size - 1)
        if not data:find("\255", 1, true) then
            if #data < size then return size end
            return size, data, size
        end
    end
    local known = goneOn(raw, pos, sender)
    readOn(known, raw, pos, answer)
    local size = sizeOf(known.data, answer)
    local whole = size and size > 0 and size <= #known.data
    teskPartial[sender] = not whole and known or nil
    if whole then return size, table.concat(known.data, "", 1, size), known.ends[size] end
    return size
end

local function teskLink(message, pinfo, key)
    teskLinks[key] = teskLinks[key] or {}
    local link = teskLinks[key]
    if pinfo.visited then return link end
    local stream = conversation(pinfo)
    local last = teskOpen[stream] or {}
    if message.answers then
        link.request, link.time = last.frame, last.frame and elapsed(last.at, pinfo.rel_ts)
        if last.link then last.link.answer = pinfo.number end
        teskOpen[stream] = { answered = pinfo.number }
    elseif message.id == "150" then
        link.acknowledges = last.answered
    else
        teskOpen[stream] = { link = link, frame = pinfo.number, at = pinfo.rel_ts }
    end
    return link
end

local function showMessage(range, pinfo, root, answers, key)
    local tree = root:add(tesk, range)
    fieldsLeft = MOST_FIELDS
    local message
    guarded(tree, expertTesk, function()
        message = (answers and teskAnswer or teskRequest)(Reader.new(range), tree)
    end)
    if not message then return appendInfo(pinfo, "Malformed message") end
    message.answers = answers
    local link = teskLink(message, pinfo, key)
    local side = answers and t.answer or message.id == "150" and t.acknowledgement or t.request
    tree:add(side, true):set_generated()
    showLink(tree, t, link)
    if link.acknowledges then tree:add(t.acknowledges, link.acknowledges):set_generated() end
    local info = (answers and "Answer " or "Request ") .. describe(message.id)
    if answers then info = info .. " from " .. message.machine .. ", outcome " .. message.outcome end
    if message.id == "150" and not answers then info = "Acknowledgement of " .. message.payload end
    tree:append_text(", " .. info)
    appendInfo(pinfo, info)
end

local function showNoMessage(range, pinfo, root, reason)
    local tree = root:add(tesk, range)
    tree:add(t.junk, range)
    tree:add_proto_expert_info(expertTesk, reason)
    appendInfo(pinfo, "Malformed: " .. reason)
end

-- Shows what starts at pos and returns how many bytes that was. Nothing when it is not whole.
local function teskUnit(tvb, raw, pos, pinfo, root, answers, sender)
    if raw:byte(pos) == IAC and raw:byte(pos + 1) ~= IAC then
        local size = commandSize(raw, pos)
        if not size and #raw - pos < LONGEST_SUBNEGOTIATION then return nil end
        if not size then
            showNoMessage(tvb:range(pos - 1), pinfo, root, "a telnet command without an end")
            return #raw - pos + 1
        end
        showCommand(tvb:range(pos - 1, size), pinfo, root)
        return size
    end
    local size, data, used = messageAt(raw, pos, answers, sender)
    if size == 0 and #raw - pos >= LONGEST_SUBNEGOTIATION then size = nil end
    if not size then
        showNoMessage(tvb:range(pos - 1), pinfo, root, "this is no message")
        return #raw - pos + 1
    end
    if not data then return nil end
    local range = tvb:range(pos - 1, used)
    if used ~= size then range = ByteArray.new(data, true):tvb("Without telnet"):range() end
    local key = string.format("%d %d %d", pinfo.number, pos, #raw)
    showMessage(range, pinfo, root, answers, key)
    return used
end

function tesk.dissector(tvb, pinfo, root)
    local size = tvb:len()
    if size == 0 then return 0 end
    pinfo.cols.protocol = "Tesk"
    local raw, pos = tvb:raw(), 1
    local answers = teskPorts[pinfo.src_port] ~= nil and not teskPorts[pinfo.dst_port]
    local sender = string.format("%s %d %s %d", pinfo.src, pinfo.src_port, pinfo.dst, pinfo.dst_port)
    while pos <= size do
        local used = teskUnit(tvb, raw, pos, pinfo, root, answers, sender)
        if not used then
            if not awaitRest(pinfo, pos - 1) then
                showNoMessage(tvb:range(pos - 1), pinfo, root, cutReason(tvb, "a message"))
            end
            return size
        end
        pos = pos + used
    end
    return size
end

---------------------------------------------------------------------------------------------------
-- Ports

local registered = {}

-- Moves a protocol from the ports it had to those that a preference names now.
local function register(proto, table_, range)
    local name = proto.name .. " " .. table_
    local ports = DissectorTable.get(table_)
    if registered[name] then ports:remove(registered[name], proto) end
    registered[name] = tostring(range)
    if #registered[name] > 0 then ports:add(registered[name], proto) end
    return portsOf(range)
end

local function registerDorn()
    dornPorts.tcp = register(dorn, "tcp.port", dorn.prefs.tcp_ports)
    dornPorts.udp = register(dorn, "udp.port", dorn.prefs.udp_ports)
end

local function registerTesk()
    teskPorts = register(tesk, "tcp.port", tesk.prefs.tcp_ports)
end

dorn.prefs_changed, tesk.prefs_changed = registerDorn, registerTesk
registerDorn()
registerTesk()
