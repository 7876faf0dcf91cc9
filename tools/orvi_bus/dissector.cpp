// orvi-bus dissector: teaches network analysers to read files of orvi-bus capture, from the table of messages.
#include <cstdio>
#include <map>
#include <vector>

#include "capture_file.h"
#include "commands.h"
#include "message.h"

namespace orvi_bus_tool {
namespace {

using orvi_protocol::Extent;
using orvi_protocol::Field;
using orvi_protocol::Message;
using orvi_protocol::Record;
using orvi_protocol::Type;

// What follows the two tables. Lua 5.2, as the analysers have it.
constexpr char WALK[] = R"lua(
local orvi = Proto("orvi", "Message bus of the vision service")
local kinds = {[1] = "one-way", [2] = "request", [3] = "answered", [4] = "reply", [5] = "handled"}
local head = {
    kind = ProtoField.string("orvi.kind", "Kind"),
    name = ProtoField.string("orvi.message", "Message"),
    id = ProtoField.uint32("orvi.id", "Id", base.HEX),
    from = ProtoField.string("orvi.from", "From"),
    to = ProtoField.string("orvi.to", "To"),
    task = ProtoField.string("orvi.task", "Task"),
    sequence = ProtoField.uint32("orvi.sequence", "Sequence"),
    result = ProtoField.int32("orvi.result", "Result"),
    size = ProtoField.uint32("orvi.size", "Bytes of the payload"),
    duration = ProtoField.double("orvi.ms", "Milliseconds"),
    pid = ProtoField.int32("orvi.pid", "Process id of the teller"),
}
local fields = {}
for _, field in pairs(head) do fields[#fields + 1] = field end
for _, record in ipairs(records) do
    for _, f in ipairs(record.fields) do
        if f.n ~= "" then
            f.p = ProtoField.string("orvi." .. record.key .. "." .. f.n, f.n)
            fields[#fields + 1] = f.p
        end
    end
end
orvi.fields = fields

local function there(buf, at, size) return at + size <= buf:len() end

local function number(buf, f, at, size)
    if size == 1 then return f.g and buf(at, 1):int() or buf(at, 1):uint() end
    return f.g and buf(at, 4):le_int() or buf(at, 4):le_uint()
end

local function counted(buf, f, record, at, otherwise)
    if f.c == nil then return otherwise end
    for _, counter in ipairs(record.fields) do
        if counter.n == f.c and there(buf, at + counter.o, counter.e) then
            return math.max(number(buf, counter, at + counter.o, counter.e), 0)
        end
    end
    return 0
end

local walk

local function one(buf, f, at, size, tree)
    if f.t == "record" then
        walk(buf, records[f.r], at, tree:add(f.p, size > 0 and there(buf, at, size) and buf(at, size) or buf(at), ""))
        return
    end
    if size == 0 then
        tree:add(f.p, "")
        return
    end
    local range = buf(at, size)
    if f.t == "number" then
        local value = number(buf, f, at, size)
        tree:add(f.p, range, f.w ~= nil and f.w[value] or tostring(value))
    elseif f.t == "text" then
        tree:add(f.p, range, range:stringz())
    else
        tree:add(f.p, range, tostring(range:bytes()))
    end
end

local function read(buf, f, record, start, finish, tree)
    local at = start + f.o
    if f.l then
        local room = f.e == 0 and math.huge or math.floor(f.s / f.e)
        local least = math.max(f.x == "packed" and records[f.r].shortest or f.e, 1)
        local count = math.min(counted(buf, f, record, start, room), room)
        local i = 0
        while i < count and there(buf, at, least) do
            if f.x == "packed" then
                at = walk(buf, records[f.r], at, tree:add(f.p, buf(at), ""))
            else
                one(buf, f, at, f.e, tree)
                at = at + f.e
            end
            i = i + 1
        end
        return f.x ~= nil and at or finish
    end
    if f.x == nil then
        if there(buf, at, f.s) then one(buf, f, at, f.s, tree) end
        return finish
    end
    if at > buf:len() then return finish end
    local size = math.min(counted(buf, f, record, start, buf:len() - at), buf:len() - at)
    one(buf, f, at, size, tree)
    return at + size
end

local function each(buf, record, at, finish, tree)
    for _, f in ipairs(record.fields) do
        if f.n == "" then
            each(buf, records[f.r], at + f.o, 0, tree)
        else
            finish = read(buf, f, record, at, finish, tree)
        end
    end
    return finish
end

walk = function(buf, record, at, tree)
    return math.min(each(buf, record, at, at + record.shortest, tree), buf:len())
end

function orvi.dissector(buf, info, root)
    if buf:len() < HEAD or buf(0, 4):le_uint() ~= MAGIC then return 0 end
    local flags, kind, id = buf(7, 1):uint(), buf(6, 1):uint(), buf(36, 4):le_uint()
    local from, to = buf(64, 16):stringz(), buf(80, 16):stringz()
    local toService = (kind == 4 and from or to) == "AI_VISION"
    local message = messages[(toService and "s" or "e") .. id]
    local name = message and message.name or string.format("%#x", id)
    info.cols.protocol = "ORVI"
    info.cols.src = from
    info.cols.dst = to
    info.cols.info = (kinds[kind] or "?") .. " " .. name
    local tree = root:add(orvi, buf(), "Message bus, " .. (kinds[kind] or "?") .. " " .. name)
    tree:add(head.kind, buf(6, 1), kinds[kind] or "?")
    tree:add(head.name, buf(36, 4), name)
    tree:add_le(head.id, buf(36, 4))
    tree:add(head.from, buf(64, 16), from)
    tree:add(head.to, buf(80, 16), to)
    tree:add(head.task, buf(96, 16), buf(96, 16):stringz())
    tree:add_le(head.sequence, buf(32, 4))
    tree:add_le(head.result, buf(40, 4))
    tree:add_le(head.size, buf(44, 4))
    tree:add(head.duration, buf(16, 8), buf(16, 8):le_int64():tonumber() / 1e6)
    tree:add_le(head.pid, buf(HEAD - 8, 4))
    if buf:len() == HEAD or message == nil then return buf:len() end
    local payload = buf(HEAD):tvb()
    local record = message.payload
    if kind == 4 then
        record = message.reply
        if message.refusal ~= nil and payload:len() == records[message.refusal].longest and
            (record == nil or payload:len() < records[record].shortest or payload:len() > records[record].longest) then
            record = message.refusal
        end
    end
    if record ~= nil then walk(payload, records[record], 0, tree) end
    return buf:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, orvi)
)lua";

class Generator {
 public:
    std::string Run() {
        std::string messages = "local messages = {\n";
        for (const Message* message : orvi_protocol::AllMessages()) {
            messages += std::string("    [\"") + (ToService(message->direction) ? "s" : "e") +
                        std::to_string(message->id) + "\"] = {name = \"" + std::string(message->name) + "\"" +
                        Reference("payload", message->payload) + Reference("reply", message->reply) +
                        Reference("refusal", message->refusal) + "},\n";
        }
        messages += "}\n";
        std::string records;
        for (size_t i = 0; i < records_.size(); ++i) {  // a record's fields may name further ones
            records += TextOf(*records_[i]);
        }
        return "-- Reads files of orvi-bus capture in a network analyser: tshark -X lua_script:THIS -r FILE -V.\n"
               "-- Written by orvi-bus " ORVI_VERSION
               " from its table of messages.\n"
               "local HEAD, MAGIC = " +
               std::to_string(sizeof(FileRecord)) + ", " + std::to_string(orvi_bus::kTraceMagic) + "\n" + messages +
               "-- Fields: n name, t type, o offset, s size, e size of an element, l is a list, c what counts it, x "
               "how the\n"
               "-- record ends with it, r record, w words, g signed.\n"
               "local records = {\n" +
               records + "}\n" + WALK;
    }

 private:
    size_t NumberOf(const Record* record) {
        const auto [found, isNew] = numbers_.emplace(record, records_.size() + 1);
        if (isNew) {
            records_.push_back(record);
        }
        return found->second;
    }

    std::string Reference(const char* key, const Record* record) {
        return record != nullptr ? std::string(", ") + key + " = " + std::to_string(NumberOf(record)) : "";
    }

    static const char* TypeWord(Type type) {
        switch (type) {
            case Type::Number:
            case Type::Flag:
                return "number";
            case Type::Text:
                return "text";
            case Type::Record:
                return "record";
            default:
                return "bytes";
        }
    }

    std::string TextOf(const Field& field) {
        const auto number = [](const char* key, uint32_t value) {
            return std::string(", ") + key + " = " + std::to_string(value);
        };
        std::string text = "{n = \"" + std::string(field.name) + "\", t = \"" + TypeWord(field.type) + "\"" +
                           number("o", field.offset) + number("s", field.size) + number("e", field.each);
        text += field.isList ? ", l = true" : "";
        text += field.isSigned ? ", g = true" : "";
        text += field.counter.empty() ? "" : ", c = \"" + std::string(field.counter) + "\"";
        text += field.extent == Extent::Room     ? ""
                : field.extent == Extent::Packed ? ", x = \"packed\""
                                                 : ", x = \"end\"";
        text += Reference("r", field.record);
        std::string words;
        for (const orvi_protocol::Word& word : field.words) {
            words += (words.empty() ? "" : ", ") + std::string("[") + std::to_string(word.number) + "] = \"" +
                     std::string(word.word) + "\"";
        }
        return text + (words.empty() ? "" : ", w = {" + words + "}") + "}";
    }

    std::string TextOf(const Record& record) {
        std::string key;
        for (const char c : record.name) {
            key += c == ' ' || c == '-' ? '_' : c;
        }
        std::string fields;
        for (const Field& field : record.fields) {
            fields += "        " + TextOf(field) + ",\n";
        }
        return "    {key = \"" + key + "\", shortest = " + std::to_string(record.shortest) +
               ", longest = " + std::to_string(record.longest) + ", fields = {\n" + fields + "    }},\n";
    }

    std::map<const Record*, size_t> numbers_;
    std::vector<const Record*> records_;
};

}  // namespace

int PrintDissector() {
    std::fputs(Generator().Run().c_str(), stdout);
    return Flushed(DONE);
}

}  // namespace orvi_bus_tool
