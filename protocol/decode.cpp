// Bytes to values. Every read is bounded by what was received; counts and lengths of the sender are only believed as far
// as there are bytes for them.
#include <algorithm>
#include <charconv>
#include <cstring>

#include "value.h"

namespace orvi_protocol {
namespace {

constexpr size_t MOST_FAULTS = 8;

class Decoder {
 public:
    Decoder(const uint8_t* data, size_t length, size_t mostValues)
        : data_(data), length_(length), valuesLeft_(mostValues) {}

    Decoded Run(const Record* record) {
        Decoded decoded;
        size_t end = 0;
        if (record != nullptr) {
            end = ReadRecord(*record, 0, decoded.values);
            if (length_ < record->shortest) {
                Fault(std::to_string(length_) + " bytes, at least " + std::to_string(record->shortest) + " expected");
            }
        }
        if (end < length_ && faults_.empty()) {
            Fault(std::to_string(length_ - end) + " bytes behind the end");
        }
        decoded.faults = std::move(faults_);
        return decoded;
    }

 private:
    // The record that a field belongs to, and where it begins.
    struct Around {
        const Record& record;
        size_t at;
    };

    bool IsThere(size_t at, size_t size) const { return at <= length_ && size <= length_ - at; }

    void Fault(std::string text) {
        if (faults_.size() < MOST_FAULTS) {
            faults_.push_back(std::move(text));
        }
    }

    // False, with one fault, when no more values may come out.
    bool TakeValue() {
        if (valuesLeft_ > 0) {
            --valuesLeft_;
            return true;
        }
        if (!isFull_) {
            isFull_ = true;
            Fault("too many values: the rest is left out");
        }
        return false;
    }

    // Reads the record at `at` and returns where it ends.
    size_t ReadRecord(const Record& record, size_t at, std::vector<Value>& values) {
        size_t end = at + record.shortest;
        ReadFields(record, at, values, end);
        return std::min(end, length_);
    }

    // `end` moves behind the part of variable length, if there is one.
    void ReadFields(const Record& record, size_t at, std::vector<Value>& values, size_t& end) {
        for (const Field& field : record.fields) {
            if (isFull_) {
                return;
            }
            if (field.name.empty()) {
                size_t ignored = 0;
                ReadFields(*field.record, at + field.offset, values, ignored);
            } else {
                ReadField(field, {record, at}, at + field.offset, values, end);
            }
        }
    }

    void ReadField(const Field& field, const Around& around, size_t at, std::vector<Value>& values, size_t& end) {
        // What ends a record may be missing; everything else has its room there.
        const size_t needed = field.extent == Extent::Room && !field.isList ? field.size : 0;
        if (!IsThere(at, needed)) {
            return;
        }
        Value value;
        value.field = &field;
        value.offset = static_cast<uint32_t>(at);
        if (field.isList) {
            ReadList(field, around, at, value, end);
        } else if (field.extent == Extent::Room) {
            ReadOne(field, around, at, field.size, value);
        } else {
            const size_t size = BytesAtEnd(field, around, at);
            ReadOne(field, around, at, size, value);
            end = at + size;
        }
        if (field.type == Type::Reserved && value.bytes.find_first_not_of('\0') == std::string::npos) {
            return;
        }
        if (TakeValue()) {
            values.push_back(std::move(value));
        }
    }

    // What the counter says, wherever it stands in the record, or `otherwise` without one; 0 when it was not received.
    size_t Counted(const Field& field, const Around& around, size_t otherwise) {
        if (field.counter.empty()) {
            return otherwise;
        }
        for (const Field& counter : around.record.fields) {
            if (counter.name != field.counter || !IsThere(around.at + counter.offset, counter.each)) {
                continue;
            }
            const int64_t number = ReadNumber(counter, around.at + counter.offset, counter.each);
            if (number >= 0) {
                return static_cast<size_t>(number);
            }
            Fault(std::string(counter.name) + " is " + std::to_string(number));
        }
        return 0;
    }

    // How many bytes a field takes that ends its record.
    size_t BytesAtEnd(const Field& field, const Around& around, size_t at) {
        const size_t left = length_ - at;
        const size_t told = Counted(field, around, left);
        if (told > left) {
            Fault(std::string(field.name) + ": " + std::to_string(told) + " bytes are announced, " +
                  std::to_string(left) + " are there");
            return left;
        }
        return told;
    }

    void ReadList(const Field& field, const Around& around, size_t at, Value& list, size_t& end) {
        const size_t room = field.each == 0 ? SIZE_MAX : field.size / field.each;
        size_t count = Counted(field, around, room);
        if (count > room) {
            Fault(std::string(field.counter) + " is " + std::to_string(count) + ", there is room for " +
                  std::to_string(room));
            count = room;
        }
        size_t next = at;
        size_t i = 0;
        for (; i < count && IsThere(next, std::max<size_t>(SmallestElement(field), 1)) && TakeValue(); ++i) {
            Value element;
            element.field = &field;
            element.isElement = true;
            element.offset = static_cast<uint32_t>(next);
            if (field.extent == Extent::Packed) {
                next = ReadRecord(*field.record, next, element.items);
            } else {
                ReadOne(field, around, next, field.each, element);
                next += field.each;
            }
            list.items.push_back(std::move(element));
        }
        if (i < count && !isFull_) {
            Fault(std::string(field.name) + ": " + std::to_string(i) + " of " + std::to_string(count) + " are there");
        }
        if (field.extent != Extent::Room) {
            end = next;
        }
    }

    static size_t SmallestElement(const Field& field) {
        return field.extent == Extent::Packed ? field.record->shortest : field.each;
    }

    // Reads what stands in `size` bytes that are there.
    void ReadOne(const Field& field, const Around& around, size_t at, size_t size, Value& value) {
        const auto* const begin = reinterpret_cast<const char*>(data_ + at);
        switch (field.type) {
            case Type::Number:
            case Type::Flag:
                value.number = ReadNumber(field, at, size);
                if (field.holdsLength && value.number != static_cast<int64_t>(length_)) {
                    Fault(std::string(field.name) + " is " + std::to_string(value.number) + " of " +
                          std::to_string(length_) + " bytes");
                }
                return;
            case Type::Text:
                ReadText(field, around, begin, size, value.bytes);
                return;
            case Type::Bytes:
            case Type::Reserved:
                value.bytes.assign(begin, size);
                return;
            case Type::Record: {
                size_t ignored = 0;
                ReadFields(*field.record, at, value.items, ignored);
                return;
            }
        }
    }

    int64_t ReadNumber(const Field& field, size_t at, size_t size) const {
        uint32_t bits = 0;
        for (size_t i = 0; i < size && i < sizeof(bits); ++i) {
            bits |= static_cast<uint32_t>(data_[at + i]) << (8 * i);
        }
        if (!field.isSigned) {
            return bits;
        }
        return size == 1 ? static_cast<int8_t>(bits) : static_cast<int32_t>(bits);
    }

    void ReadText(const Field& field, const Around& around, const char* begin, size_t size, std::string& text) {
        const bool isCounted = !field.isList && !field.counter.empty() && field.extent == Extent::Room;
        const size_t most = isCounted ? Counted(field, around, size) : size;
        const auto* const nul = static_cast<const char*>(size == 0 ? nullptr : std::memchr(begin, '\0', size));
        const size_t ends = nul != nullptr ? static_cast<size_t>(nul - begin) : size;
        if (nul == nullptr && !field.mayFill && size != 0) {
            Fault(std::string(field.name) + " has no end");
        } else if (isCounted && most != ends) {
            Fault(std::string(field.counter) + " is " + std::to_string(most) + ", " + std::string(field.name) +
                  " has " + std::to_string(ends) + " bytes");
        } else if (field.extent == Extent::Rest && nul != nullptr && ends + 1 != size) {
            Fault(std::to_string(size - ends - 1) + " bytes behind the end of " + std::string(field.name));
        }
        text.assign(begin, std::min(ends, most));
    }

    const uint8_t* data_;
    size_t length_;
    size_t valuesLeft_;
    bool isFull_ = false;
    std::vector<std::string> faults_;
};

// Carries over what may be seen. Bytes that belong to no value, as those behind the end of a text, stay away; of a text that
// is longer than its count says, how long it is.
void CopyMasked(const std::vector<Value>& values, const char* from, std::string& to) {
    for (const Value& value : values) {
        const Field& field = *value.field;
        const bool isNumber = field.type == Type::Number || field.type == Type::Flag;
        if (isNumber && (value.isElement || !field.isList)) {
            to.replace(value.offset, field.each, from + value.offset, field.each);
        } else if (field.isPrivate) {
            to.replace(value.offset, value.bytes.size(), value.bytes.size(), '*');
        } else {
            to.replace(value.offset, value.bytes.size(), value.bytes);
        }
        if (field.type == Type::Text && field.extent == Extent::Room && !field.isList) {
            const size_t end = std::min<size_t>(value.offset + field.each, to.size());
            for (size_t at = value.offset + value.bytes.size(); at < end && from[at] != '\0'; ++at) {
                to[at] = '*';
            }
        }
        CopyMasked(value.items, from, to);
    }
}

// Takes the first step of a path: a name and, behind it in brackets, an index.
bool TakeStep(std::string_view& path, std::string_view& name, size_t& index, bool& hasIndex) {
    const size_t end = std::min(path.find_first_of(".["), path.size());
    name = path.substr(0, end);
    path.remove_prefix(end);
    hasIndex = !path.empty() && path.front() == '[';
    if (hasIndex) {
        const auto [last, error] = std::from_chars(path.data() + 1, path.data() + path.size(), index);
        if (error != std::errc() || last == path.data() + path.size() || *last != ']') {
            return false;
        }
        path.remove_prefix(static_cast<size_t>(last - path.data()) + 1);
    }
    if (!path.empty()) {
        if (path.front() != '.') {
            return false;
        }
        path.remove_prefix(1);
        return !path.empty();
    }
    return true;
}

}  // namespace

Decoded Decode(const Record* record, const void* data, size_t length, size_t mostValues) {
    return Decoder(static_cast<const uint8_t*>(data), data != nullptr ? length : 0, mostValues).Run(record);
}

const Record* ReplyRecord(const Message& message, size_t length) {
    const bool isRefusal =
        message.refusal != nullptr && length == message.refusal->longest &&
        (message.reply == nullptr || length < message.reply->shortest || length > message.reply->longest);
    return isRefusal ? message.refusal : message.reply;
}

Decoded DecodeReply(const Message& message, const void* data, size_t length) {
    const Record* const record = ReplyRecord(message, length);
    if (record == nullptr) {
        return {};  // nobody reads what it holds
    }
    return Decode(record, data, length);
}

const Value* FindValue(const std::vector<Value>& values, std::string_view path) {
    std::string_view name;
    size_t index = 0;
    bool hasIndex = false;
    if (!TakeStep(path, name, index, hasIndex)) {
        return nullptr;
    }
    for (const Value& value : values) {
        if (value.field->name != name) {
            continue;
        }
        if (hasIndex && index >= value.items.size()) {
            return nullptr;
        }
        const Value& found = hasIndex ? value.items[index] : value;
        return path.empty() ? &found : FindValue(found.items, path);
    }
    return nullptr;
}

void MaskPrivate(const Record* record, void* data, size_t length) {
    std::string masked(length, '\0');
    CopyMasked(Decode(record, data, length).values, static_cast<const char*>(data), masked);
    std::copy(masked.begin(), masked.end(), static_cast<char*>(data));
}

}  // namespace orvi_protocol
