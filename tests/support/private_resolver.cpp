#include <test_support/private_resolver.hpp>

#include <gtest/gtest.h>

#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vantrel::kelvane::test_support {
namespace {

namespace fs = std::filesystem;
constexpr const char* namespace_variable = "WEXO_PRIVATE_RESOLVER_DIR";

// GTEST_SKIP returns from the function it stands in, which must return void.
void skip(const std::string& why) {
    GTEST_SKIP() << why;
}

std::string read_file(const fs::path& p) {
    std::ifstream in(p);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

bool enter_as_child(const fs::path& dir) {
    const fs::path conf = dir / "resolv.conf";
    if (::mount(conf.c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr) != 0) {
        skip(std::string("bind mount over /etc/resolv.conf refused: ") + std::strerror(errno));
        return false;
    }
    // Never ask the system resolver before the mount is proven in place.
    if (read_file("/etc/resolv.conf") != read_file(conf)) {
        ADD_FAILURE() << "the bind mount did not take effect";
        return false;
    }
    return true;
}

} // namespace

bool enter_private_resolver(const std::string& nameserver) {
    if (const char* dir = std::getenv(namespace_variable)) {
        return enter_as_child(dir);
    }
    if (::geteuid() != 0) {
        skip("a private mount namespace needs root");
        return false;
    }
    if (std::system("unshare --mount true >/dev/null 2>&1") != 0) {
        skip("unshare --mount is refused on this machine");
        return false;
    }
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string filter = std::string(test->test_suite_name()) + "." + test->name();
    const fs::path dir = fs::temp_directory_path() / ("wexo-resolver-ns-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    std::ofstream(dir / "resolv.conf") << "nameserver " << nameserver << "\n";
    const fs::path self = fs::read_symlink("/proc/self/exe");
    const std::string command = std::string(namespace_variable) + "='" + dir.string() + "' unshare --mount -- '" +
                                self.string() + "' --gtest_filter='" + filter + "' > '" + (dir / "output").string() +
                                "' 2>&1";
    const int status = std::system(command.c_str());
    const std::string output = read_file(dir / "output");
    std::error_code ignored;
    fs::remove_all(dir, ignored);
    if (output.find("[  SKIPPED ] 1 test") != std::string::npos) {
        skip(output);
        return false;
    }
    EXPECT_EQ(status, 0) << output;
    EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
    return false;
}

} // namespace vantrel::kelvane::test_support
