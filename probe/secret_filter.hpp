#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::probe {

// The values of secure settings (the cloud API key and any setting the
// manifest marks as secret) that the probe has seen, and the one operation
// that takes them out of a text before the text is shown. Every line the
// probe writes passes through redact(), so a secret cannot reach stdout or
// stderr by a path that forgot about it: a parser message, a module message,
// an echoed argument.
//
// add() is not thread-safe; redact() is, once the secrets are known.
class secret_filter {
public:
    static constexpr std::string_view mask = "********";

    // Remembers a secret; an empty value is none.
    void add(std::string value);

    // Remembers what the command line assigns to a secure setting, before
    // anything else reads the arguments (so that even a message about a
    // malformed argument is clean): in each argument that contains one of
    // `secure_names`, everything after the name and the one character that
    // follows it ("=", ":" or anything else) is a secret.
    void add_from_arguments(const std::vector<std::string>& arguments, const std::vector<std::string>& secure_names);

    // `text` with every secret replaced by `mask`.
    std::string redact(std::string_view text) const;

private:
    std::vector<std::string> secrets_; // longest first, so a secret inside another is not half masked
};

} // namespace vantrel::kelvane::probe
