#include <libwexohelper/settings/channel_map.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <vector>

namespace vantrel::kelvane::libwexohelper::settings {

void channel_map::register_definition(const channels::dynamic_channel_options& options) {
    if (!definitions_.emplace(options.id, options).second) {
        throw utils::exceptions::channel_already_defined(
            std::vector<std::string>{std::to_string(options.id), options.name_key});
    }
}

bool channel_map::is_definition_registered(const int& channel_id) const {
    return definitions_.contains(channel_id);
}

bool channel_map::is_definition_registered(const channels::dynamic_channel_options& options) const {
    return definitions_.contains(options.id);
}

const channels::dynamic_channel_options* channel_map::find(int channel_id) const {
    const auto it = definitions_.find(channel_id);
    return it == definitions_.end() ? nullptr : &it->second;
}

} // namespace vantrel::kelvane::libwexohelper::settings
