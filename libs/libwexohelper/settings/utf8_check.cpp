#include "utf8_check.hpp"

#include <libstringutils/utf8.hpp>

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <string_view>

namespace vantrel::kelvane::libwexohelper::settings {
namespace {

using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedInputStream;

// Field numbers of SensorData (proto/wexo.proto) and of its map entries.
constexpr int field_kind = 1;
constexpr int field_settings = 2;
constexpr int field_channels = 3;
constexpr int field_persistent_data = 4;
constexpr int entry_key = 1;
constexpr int entry_value = 2;

// A length-delimited text, seen where it stands in `bytes` (the stream reads
// that array): the settings are looked at, not copied.
bool read_text(CodedInputStream& in, const std::uint8_t* bytes, std::string_view& text) {
    std::uint32_t length = 0;
    if (!in.ReadVarint32(&length)) {
        return false;
    }
    const int at = in.CurrentPosition();
    if (!in.Skip(static_cast<int>(length))) {
        return false;
    }
    text = std::string_view(reinterpret_cast<const char*>(bytes) + at, length);
    return true;
}

struct map_entry {
    std::string_view key;
    std::int64_t number_key = 0;
    std::string_view value;
    bool key_is_utf8 = true;
    bool value_is_utf8 = true;
};

bool read_entry(CodedInputStream& in, const std::uint8_t* bytes, map_entry& entry) {
    std::uint32_t length = 0;
    if (!in.ReadVarint32(&length)) {
        return false;
    }
    const auto limit = in.PushLimit(static_cast<int>(length));
    while (const std::uint32_t tag = in.ReadTag()) {
        const int field = WireFormatLite::GetTagFieldNumber(tag);
        const auto wire_type = WireFormatLite::GetTagWireType(tag);
        if (field == entry_key && wire_type == WireFormatLite::WIRETYPE_VARINT) {
            std::uint64_t number = 0;
            if (!in.ReadVarint64(&number)) {
                return false;
            }
            entry.number_key = static_cast<std::int32_t>(number);
        } else if (field == entry_key && wire_type == WireFormatLite::WIRETYPE_LENGTH_DELIMITED) {
            if (!read_text(in, bytes, entry.key)) {
                return false;
            }
            entry.key_is_utf8 = libstringutils::is_valid_utf8(entry.key);
        } else if (field == entry_value && wire_type == WireFormatLite::WIRETYPE_LENGTH_DELIMITED) {
            if (!read_text(in, bytes, entry.value)) {
                return false;
            }
            entry.value_is_utf8 = libstringutils::is_valid_utf8(entry.value);
        } else if (!WireFormatLite::SkipField(&in, tag)) {
            return false;
        }
    }
    in.PopLimit(limit);
    return true;
}

std::string quoted(std::string_view name) {
    return "'" + libstringutils::escape_invalid_utf8(name) + "'";
}

} // namespace

std::optional<std::string> find_text_that_is_not_utf8(const void* bytes, std::uint32_t size) {
    if (bytes == nullptr || size == 0 || size > static_cast<std::uint32_t>(INT32_MAX)) {
        return std::nullopt;
    }
    const auto* const data = static_cast<const std::uint8_t*>(bytes);
    CodedInputStream in(data, static_cast<int>(size));
    while (const std::uint32_t tag = in.ReadTag()) {
        const int field = WireFormatLite::GetTagFieldNumber(tag);
        const bool delimited = WireFormatLite::GetTagWireType(tag) == WireFormatLite::WIRETYPE_LENGTH_DELIMITED;
        if (delimited && field == field_kind) {
            std::string_view kind;
            if (!read_text(in, data, kind)) {
                return std::nullopt;
            }
            if (!libstringutils::is_valid_utf8(kind)) {
                return std::string("the kind");
            }
        } else if (delimited &&
                   (field == field_settings || field == field_channels || field == field_persistent_data)) {
            map_entry entry;
            if (!read_entry(in, data, entry)) {
                return std::nullopt;
            }
            if (entry.key_is_utf8 && entry.value_is_utf8) {
                continue;
            }
            if (field == field_channels) {
                return "the name of channel " + std::to_string(entry.number_key);
            }
            const std::string what = field == field_settings ? "setting " : "persistent data ";
            return entry.key_is_utf8 ? "the value of " + what + quoted(entry.key)
                                     : "the name of " + what + quoted(entry.key);
        } else if (!WireFormatLite::SkipField(&in, tag)) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace vantrel::kelvane::libwexohelper::settings
