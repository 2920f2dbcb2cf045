#pragma once

#include <map>
#include <optional>
#include <string>

namespace vantrel::kelvane::libwexohelper::settings {

// Text values the host keeps for a sensor between instances.
class persistent_data_storage {
public:
    persistent_data_storage() = default;
    explicit persistent_data_storage(std::map<std::string, std::string> values) : values_(std::move(values)) {}

    std::optional<std::string> get(const std::string& key) const {
        const auto it = values_.find(key);
        return it == values_.end() ? std::nullopt : std::optional<std::string>(it->second);
    }
    void set(const std::string& key, std::string value) { values_[key] = std::move(value); }
    const std::map<std::string, std::string>& values() const noexcept { return values_; }

private:
    std::map<std::string, std::string> values_;
};

} // namespace vantrel::kelvane::libwexohelper::settings
