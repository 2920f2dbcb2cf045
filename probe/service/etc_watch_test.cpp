#include "etc_watch.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace vantrel::kelvane::probe::service {
namespace {

namespace fs = std::filesystem;

// Whether this process holds an inotify watch on the directory's inode, as
// the kernel lists it in /proc/self/fdinfo.
bool watched_by_this_process(const std::string& directory) {
    struct stat st {};
    if (stat(directory.c_str(), &st) != 0) {
        return false;
    }
    char inode[32];
    std::snprintf(inode, sizeof inode, "ino:%llx ", static_cast<unsigned long long>(st.st_ino));
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (fs::read_symlink(entry.path(), error).string() != "anon_inode:inotify") {
            continue;
        }
        std::ifstream info("/proc/self/fdinfo/" + entry.path().filename().string());
        for (std::string line; std::getline(info, line);) {
            if (line.starts_with("inotify ") && line.find(inode) != std::string::npos) {
                return true;
            }
        }
    }
    return false;
}

class EtcWatch : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("etc_watch_test." + std::to_string(getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    fs::path dir_;
};

TEST_F(EtcWatch, HoldsTheWatchUntilDestroyed) {
    {
        const etc_watch watch(dir_.string());
        ASSERT_TRUE(watch.held());
        EXPECT_TRUE(watched_by_this_process(dir_.string()));
    }
    EXPECT_FALSE(watched_by_this_process(dir_.string()));
}

TEST_F(EtcWatch, DrainDropsWhatCameWithoutWaiting) {
    std::ofstream(dir_ / "resolv.conf") << "nameserver 192.0.2.1\n";
    etc_watch watch(dir_.string());
    ASSERT_TRUE(watch.held());
    EXPECT_EQ(watch.drain(), 0u) << "nothing came yet, and drain must not wait for it";
    for (int i = 0; i < 3; ++i) {
        std::ofstream(dir_ / ("file" + std::to_string(i))) << "written " << i << '\n';
    }
    EXPECT_GE(watch.drain(), 3u);
    EXPECT_EQ(watch.drain(), 0u);
}

TEST_F(EtcWatch, WithoutTheDirectoryItHoldsNothingAndDrainsNothing) {
    etc_watch watch((dir_ / "missing").string());
    EXPECT_FALSE(watch.held());
    EXPECT_EQ(watch.drain(), 0u);
}

} // namespace
} // namespace vantrel::kelvane::probe::service
