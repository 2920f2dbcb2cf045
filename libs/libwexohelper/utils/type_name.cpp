#include <libwexohelper/utils/type_name.hpp>

#if defined(__GNUG__)
#include <cxxabi.h>
#include <cstdlib>
#include <memory>
#endif

namespace vantrel::kelvane::libwexohelper::utils {

std::string type_name(const std::type_info& type) {
#if defined(__GNUG__)
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                     std::free);
    if (status == 0 && demangled) {
        return demangled.get();
    }
#endif
    return type.name();
}

} // namespace vantrel::kelvane::libwexohelper::utils
