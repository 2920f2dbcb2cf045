#pragma once

// A child process that talks with its parent through a pipe each way. The
// benchmarks run servers, clients and baselines in processes of their own so
// that each one's CPU time counts only its own side.

#include <functional>

#include <sys/wait.h>
#include <unistd.h>

namespace vantrel::kelvane::bench {

// Forks; the child runs `body` with the end it reads from and the end it
// writes to, then exits without running the parent's destructors. The parent
// keeps the other two ends. Closing the parent's writing end (finish()) tells
// the child that nothing more comes. Fork before the process has threads: the
// child gets only the forking one.
class forked_child {
public:
    using body = std::function<void(int from_parent, int to_parent)>;

    explicit forked_child(const body& run) {
        int down[2];
        int up[2];
        if (pipe(down) != 0) {
            return;
        }
        if (pipe(up) != 0) {
            close(down[0]);
            close(down[1]);
            return;
        }
        pid_ = fork();
        if (pid_ == 0) {
            close(down[1]);
            close(up[0]);
            run(down[0], up[1]);
            _exit(0);
        }
        close(down[0]);
        close(up[1]);
        to_child_ = down[1];
        from_child_ = up[0];
    }
    ~forked_child() { finish(); }
    forked_child(const forked_child&) = delete;
    forked_child& operator=(const forked_child&) = delete;

    bool started() const { return pid_ > 0; }

    // One whole value each way; false when the pipe is closed or short.
    template <class T> bool send(const T& value) const { return put(to_child_, value); }
    template <class T> bool receive(T& value) const { return get(from_child_, value); }
    // The same on the child's side, with the ends that `body` was given.
    template <class T> static bool put(int fd, const T& value) {
        return fd >= 0 && write(fd, &value, sizeof value) == static_cast<ssize_t>(sizeof value);
    }
    template <class T> static bool get(int fd, T& value) {
        return fd >= 0 && read(fd, &value, sizeof value) == static_cast<ssize_t>(sizeof value);
    }

    // Closes the parent's ends and waits for the child to exit.
    void finish() {
        for (int* fd : {&to_child_, &from_child_}) {
            if (*fd >= 0) {
                close(*fd);
                *fd = -1;
            }
        }
        if (pid_ > 0) {
            waitpid(pid_, nullptr, 0);
        }
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    int to_child_ = -1;
    int from_child_ = -1;
};

} // namespace vantrel::kelvane::bench
