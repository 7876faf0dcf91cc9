// How the bytes of a payload or a reply are laid out: records made of fields, as constant rows of plain data.
//
// Offsets and sizes come from the structs themselves (ORVI_PLACE); a row adds what a struct cannot tell: a name for
// people, unit, bounds, the words of an enumeration, what bounds a variable part, and whether the contents are private.
#ifndef ORVI_PROTOCOL_RECORD_H
#define ORVI_PROTOCOL_RECORD_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace orvi_protocol {

// A view of constant rows.
template <class Row>
class Rows {
 public:
    constexpr Rows() = default;
    template <size_t N>
    constexpr Rows(const Row (&rows)[N]) : rows_(rows), count_(N) {}

    constexpr const Row* begin() const { return rows_; }
    constexpr const Row* end() const { return rows_ + count_; }
    constexpr size_t size() const { return count_; }
    constexpr bool empty() const { return count_ == 0; }
    constexpr const Row& operator[](size_t index) const { return rows_[index]; }

 private:
    const Row* rows_ = nullptr;
    size_t count_ = 0;
};

// A number that has a name.
struct Word {
    int64_t number;
    std::string_view word;
};

enum class Type : uint8_t {
    Number,    // little-endian, of 1 or 4 bytes
    Flag,      // a number that is 0 or 1
    Text,      // ends with a NUL inside its room
    Bytes,     // whatever they are
    Reserved,  // bytes without a meaning here: shown only when they are not all zero
    Record     // fields of its own
};

// Where a field ends.
enum class Extent : uint8_t {
    Room,    // it has its room in the record, used or not
    Cut,     // at the end of the record, which ends behind the last element in use
    Packed,  // at the end of the record; the elements are of different sizes, without alignment
    Rest     // at the end of the record: whatever is left
};

struct Record;

// Where a member stands in its struct.
struct Place {
    uint32_t offset;
    uint32_t size;
    uint32_t each;  // of an element when it is an array
    bool isSigned;
};

template <class Member>
constexpr Place PlaceOf(size_t offset) {
    using Element = std::remove_extent_t<Member>;
    return {static_cast<uint32_t>(offset), static_cast<uint32_t>(sizeof(Member)),
            static_cast<uint32_t>(sizeof(Element)), std::is_signed_v<Element> || std::is_enum_v<Element>};
}
#define ORVI_PLACE(record, member) orvi_protocol::PlaceOf<decltype(record::member)>(offsetof(record, member))

struct Field {
    std::string_view name;  // empty: the fields of `record` stand in the place of this one
    Type type = Type::Bytes;
    Extent extent = Extent::Room;
    bool isList = false;
    bool isSigned = false;
    bool isPrivate = false;    // of a person, or what a person said: masked unless revealed
    bool isRequired = false;   // a text that must not be empty
    bool mayFill = false;      // a text as long as its room has no NUL
    bool holdsLength = false;  // a number: the bytes of the whole payload
    uint32_t offset = 0;
    uint32_t size = 0;               // its room in bytes; 0 when that has no bound of its own
    uint32_t each = 0;               // bytes of an element; of all when it is no list
    const Record* record = nullptr;  // of a Record
    int64_t least = 0;               // bounds of a number, both included
    int64_t most = 0;
    Rows<Word> words;
    std::string_view counter;  // the field that tells the elements in use, or the bytes in use when this is no list
    std::string_view whole;    // the field that tells how many there can be of what this one counts
    std::string_view unit;
    std::string_view initial;  // what an encoder puts in when nobody names a value
    std::string_view meaning;

    constexpr Field In(int64_t leastValue, int64_t mostValue) const {
        Field field = *this;
        field.least = leastValue;
        field.most = mostValue;
        return field;
    }
    constexpr Field Named(Rows<Word> names) const {
        Field field = *this;
        field.words = names;
        return field;
    }
    constexpr Field Unit(std::string_view text) const {
        Field field = *this;
        field.unit = text;
        return field;
    }
    constexpr Field Of(std::string_view all) const {
        Field field = *this;
        field.whole = all;
        return field;
    }
    constexpr Field Initially(std::string_view value) const {
        Field field = *this;
        field.initial = value;
        return field;
    }
    constexpr Field Private() const {
        Field field = *this;
        field.isPrivate = true;
        return field;
    }
    constexpr Field Required() const {
        Field field = *this;
        field.isRequired = true;
        return field;
    }
    constexpr Field MayFill() const {
        Field field = *this;
        field.mayFill = true;
        return field;
    }
    constexpr Field CountedBy(std::string_view other) const {
        Field field = *this;
        field.counter = other;
        return field;
    }
    constexpr Field Ends(Extent how) const {
        Field field = *this;
        field.extent = how;
        return field;
    }
};

struct Record {
    std::string_view name;
    uint32_t shortest;  // bytes before the part that may be missing
    uint32_t longest;
    Rows<Field> fields;
};

constexpr uint32_t UNBOUNDED = 16U << 20;  // what the bus carries

// --- The rows' constructors ---

constexpr Field FieldAt(std::string_view name, Type type, Place place, std::string_view meaning) {
    Field field;
    field.name = name;
    field.type = type;
    field.offset = place.offset;
    field.size = place.size;
    field.each = place.size;
    field.meaning = meaning;
    return field;
}

// A number, within what its bytes can hold until In() says otherwise.
constexpr Field Number(std::string_view name, Place place, std::string_view meaning) {
    Field field = FieldAt(name, Type::Number, place, meaning);
    field.isSigned = place.isSigned;
    const int bits = place.each == 1 ? 8 : 32;
    field.least = field.isSigned ? -(int64_t{1} << (bits - 1)) : 0;
    field.most = (int64_t{1} << (field.isSigned ? bits - 1 : bits)) - 1;
    return field;
}

constexpr Field Flag(std::string_view name, Place place, std::string_view meaning) {
    Field field = Number(name, place, meaning).In(0, 1);
    field.type = Type::Flag;
    return field;
}

constexpr Field Length(std::string_view name, Place place) {
    Field field = Number(name, place, "bytes of the whole");
    field.holdsLength = true;
    return field;
}

constexpr Field Text(std::string_view name, Place place, std::string_view meaning) {
    return FieldAt(name, Type::Text, place, meaning);
}

constexpr Field Bytes(std::string_view name, Place place, std::string_view meaning) {
    return FieldAt(name, Type::Bytes, place, meaning);
}

constexpr Field Reserved(std::string_view name, Place place) {
    return FieldAt(name, Type::Reserved, place, "not used");
}

// The array behind `place` as a list of such fields.
constexpr Field List(Field element, Place place) {
    element.isList = true;
    element.each = place.each;
    return element;
}

constexpr Field Sub(std::string_view name, Place place, const Record& record, std::string_view meaning) {
    Field field = FieldAt(name, Type::Record, place, meaning);
    field.record = &record;
    return field;
}

// The fields of a member as if they were the record's own.
constexpr Field Inline(Place place, const Record& record) {
    return Sub("", place, record, "");
}

}  // namespace orvi_protocol

#endif
