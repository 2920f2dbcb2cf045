// The formatter on any format text with up to three arguments: it returns text
// or throws one of its own errors (or out_of_range for an index too large for a
// number); nothing else.

#include <libstringutils/exceptions.hpp>
#include <libstringutils/format.hpp>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    // "format\0arg0\0arg1..."
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t end; (end = input.find('\0', start)) != std::string::npos && parts.size() < 3; start = end + 1) {
        parts.push_back(input.substr(start, end - start));
    }
    parts.push_back(input.substr(start));
    const std::string text = parts.front();
    const std::vector<std::string> arguments(parts.begin() + 1, parts.end());
    try {
        const std::string out = vantrel::kelvane::libstringutils::format(text, arguments);
        if (text.find('%') == std::string::npos && out != text) {
            __builtin_trap(); // text without placeholders must come back unchanged
        }
    } catch (const vantrel::kelvane::libstringutils::exceptions::exception&) {
    } catch (const std::out_of_range&) {
    }
    return 0;
}
