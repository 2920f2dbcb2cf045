#pragma once

// The pieces for writing an envelope's wire bytes field by field with
// protobuf's own encoders, without building the generated message: every
// scan sends log lines and a result, and building, filling and serialising a
// message object costs several times the bytes it writes. Sizes and writes
// follow proto3 as protobuf's serialiser does: a scalar at its default value
// and an empty string field take no bytes, a nested message and each element
// of a repeated field are written whatever they hold, fields in number order.
// The envelope tests compare every message written this way with the bytes
// of the generated message.

#include <libstringutils/utf8.hpp>

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel::kelvane::libwexohelper::messaging::fields {

using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedOutputStream;

// A string field's text as the host may receive it: protobuf refuses a string
// field that is not UTF-8, and the host would get nothing. Texts quote DNS
// answers and settings, so bytes that are not UTF-8 are written as \DDD; a
// valid text (the usual case) is used where it lies, without a copy.
class utf8_text {
public:
    explicit utf8_text(std::string_view text) : text_(text) {
        if (!libstringutils::is_valid_utf8(text)) {
            repaired_ = libstringutils::escape_invalid_utf8(text);
        }
    }
    std::string_view view() const noexcept { return repaired_ ? std::string_view(*repaired_) : text_; }

private:
    std::string_view text_;
    std::optional<std::string> repaired_;
};

// The wire type does not change the size of a tag.
inline std::size_t tag_size(int field) {
    return WireFormatLite::TagSize(field, WireFormatLite::TYPE_INT32);
}

inline std::size_t int32_size(int field, std::int32_t value) {
    return value == 0 ? 0 : tag_size(field) + WireFormatLite::Int32Size(value);
}
inline std::size_t int64_size(int field, std::int64_t value) {
    return value == 0 ? 0 : tag_size(field) + WireFormatLite::Int64Size(value);
}
inline std::size_t enum_size(int field, int value) {
    return value == 0 ? 0 : tag_size(field) + WireFormatLite::EnumSize(value);
}
inline std::size_t bool_size(int field, bool value) {
    return value ? tag_size(field) + 1 : 0;
}
// A nested message or an element of a repeated field: written even when empty.
inline std::size_t always_size(int field, std::size_t length) {
    return tag_size(field) + WireFormatLite::LengthDelimitedSize(length);
}
inline std::size_t string_size(int field, std::string_view text) {
    return text.empty() ? 0 : always_size(field, text.size());
}

inline std::uint8_t* write_int32(int field, std::int32_t value, std::uint8_t* target) {
    return value == 0 ? target : WireFormatLite::WriteInt32ToArray(field, value, target);
}
inline std::uint8_t* write_int64(int field, std::int64_t value, std::uint8_t* target) {
    return value == 0 ? target : WireFormatLite::WriteInt64ToArray(field, value, target);
}
inline std::uint8_t* write_enum(int field, int value, std::uint8_t* target) {
    return value == 0 ? target : WireFormatLite::WriteEnumToArray(field, value, target);
}
inline std::uint8_t* write_bool(int field, bool value, std::uint8_t* target) {
    return value ? WireFormatLite::WriteBoolToArray(field, value, target) : target;
}
// The tag and length of a nested message or a repeated element; its bytes follow.
inline std::uint8_t* write_header(int field, std::size_t length, std::uint8_t* target) {
    target = WireFormatLite::WriteTagToArray(field, WireFormatLite::WIRETYPE_LENGTH_DELIMITED, target);
    return CodedOutputStream::WriteVarint32ToArray(static_cast<std::uint32_t>(length), target);
}
inline std::uint8_t* write_always(int field, std::string_view text, std::uint8_t* target) {
    target = write_header(field, text.size(), target);
    return CodedOutputStream::WriteRawToArray(text.data(), static_cast<int>(text.size()), target);
}
inline std::uint8_t* write_string(int field, std::string_view text, std::uint8_t* target) {
    return text.empty() ? target : write_always(field, text, target);
}

} // namespace vantrel::kelvane::libwexohelper::messaging::fields
