// Runs a program and lets one of its file operations fail, or kills it there.
//
//   crash_fault [--list] [--all] FAULT NTH PROGRAM [ARGUMENT ...]
//
// FAULT is kill, ENOSPC, EIO or EROFS. Counted are the operations that the fault can hit, by the program and all that
// it starts, on files below /mnt, /hd1 and /tmp, between the marks begin and end (TraceMark.h), with --all from the start
// to the end. kill comes before the NTH operation and takes all processes. ENOSPC and EIO hit that operation alone; with
// EROFS all from there on fail, writes to open files and their sync too, as on a disk that the kernel remounted after an
// error, until the mark end. NTH 0 hits nothing and counts.
//
// On standard error: "hit NTH CALL PATH" and, at the end, "counted COUNT"; with --list a line for each operation: its
// number, the program, call and path.
// The exit status is the program's, 128 + n if signal n ended it, 126 if the operations cannot be watched.

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr int kCannotWatch = 126;
constexpr int kUsage = 2;
constexpr int kNone = -1;
constexpr char kMarks[] = "/trace-mark/";
constexpr const char* kRoots[] = {"/mnt/", "/hd1/", "/tmp/"};

enum Traits : unsigned
{
    kReads = 1,   // contents or names
    kWrites = 2,  // what a disk that can only be read refuses
    kGrows = 4,   // may need room
    kSyncs = 8,
    kHolds = 16,  // a lock or a descriptor: changes nothing on the disk
    kOpens = 32,  // its flags say what it is
    kCloses = 64,
};

struct Call
{
    long number;
    const char* name;
    int folder;  // argument with the descriptor that the path is relative to, or that stands for the file
    int path;    // argument with the path, kNone when the descriptor stands for the file
    unsigned traits;
    int flags = kNone;  // argument with the flags of an open
};

constexpr Call kCalls[] = {
#ifdef SYS_open
    {SYS_open, "open", kNone, 0, kOpens, 1},
    {SYS_creat, "creat", kNone, 0, kWrites | kGrows},
    {SYS_access, "access", kNone, 0, kReads},
    {SYS_stat, "stat", kNone, 0, kReads},
    {SYS_lstat, "lstat", kNone, 0, kReads},
    {SYS_readlink, "readlink", kNone, 0, kReads},
    {SYS_mkdir, "mkdir", kNone, 0, kWrites | kGrows},
    {SYS_rename, "rename", kNone, 0, kWrites | kGrows},
    {SYS_unlink, "unlink", kNone, 0, kWrites},
    {SYS_rmdir, "rmdir", kNone, 0, kWrites},
    {SYS_link, "link", kNone, 1, kWrites | kGrows},
    {SYS_symlink, "symlink", kNone, 1, kWrites | kGrows},
    {SYS_chmod, "chmod", kNone, 0, kWrites},
    {SYS_chown, "chown", kNone, 0, kWrites},
#endif
#ifdef SYS_renameat
    {SYS_renameat, "renameat", 0, 1, kWrites | kGrows},
#endif
    {SYS_openat, "openat", 0, 1, kOpens, 2},
    {SYS_faccessat, "faccessat", 0, 1, kReads},
    {SYS_faccessat2, "faccessat2", 0, 1, kReads},
#ifdef SYS_newfstatat
    {SYS_newfstatat, "newfstatat", 0, 1, kReads},
#else
    {SYS_fstatat64, "fstatat64", 0, 1, kReads},
#endif
    {SYS_statx, "statx", 0, 1, kReads},
    {SYS_fstat, "fstat", 0, kNone, kReads},
    {SYS_readlinkat, "readlinkat", 0, 1, kReads},
    {SYS_getdents64, "getdents64", 0, kNone, kReads},
    {SYS_read, "read", 0, kNone, kReads},
    {SYS_pread64, "pread64", 0, kNone, kReads},
    {SYS_write, "write", 0, kNone, kGrows},
    {SYS_writev, "writev", 0, kNone, kGrows},
    {SYS_pwrite64, "pwrite64", 0, kNone, kGrows},
    {SYS_pwritev, "pwritev", 0, kNone, kGrows},
    {SYS_pwritev2, "pwritev2", 0, kNone, kGrows},
    {SYS_sendfile, "sendfile", 0, kNone, kGrows},
    {SYS_copy_file_range, "copy_file_range", 2, kNone, kGrows},
    {SYS_fallocate, "fallocate", 0, kNone, kGrows},
    {SYS_truncate, "truncate", kNone, 0, kWrites},
    {SYS_ftruncate, "ftruncate", 0, kNone, kWrites},
    {SYS_fsync, "fsync", 0, kNone, kSyncs | kGrows},
    {SYS_fdatasync, "fdatasync", 0, kNone, kSyncs | kGrows},
    {SYS_syncfs, "syncfs", 0, kNone, kSyncs | kGrows},
    {SYS_mkdirat, "mkdirat", 0, 1, kWrites | kGrows},
    {SYS_renameat2, "renameat2", 0, 1, kWrites | kGrows},
    {SYS_unlinkat, "unlinkat", 0, 1, kWrites},
    {SYS_linkat, "linkat", 2, 3, kWrites | kGrows},
    {SYS_symlinkat, "symlinkat", 1, 2, kWrites | kGrows},
    {SYS_utimensat, "utimensat", 0, 1, kWrites},
    {SYS_fchmod, "fchmod", 0, kNone, kWrites},
    {SYS_fchmodat, "fchmodat", 0, 1, kWrites},
    {SYS_fchown, "fchown", 0, kNone, kWrites},
    {SYS_fchownat, "fchownat", 0, 1, kWrites},
    {SYS_flock, "flock", 0, kNone, kHolds},
    {SYS_close, "close", 0, kNone, kHolds | kCloses},
};

struct Fault
{
    const char* name;
    int error;      // 0: kill
    unsigned hits;  // any of these traits
    bool stays;     // for all operations from the first one on
};

constexpr Fault kFaults[] = {
    {"kill", 0, kWrites | kGrows | kSyncs | kHolds, false},
    {"ENOSPC", ENOSPC, kGrows | kCloses, false},
    {"EIO", EIO, kReads | kWrites | kGrows | kSyncs | kCloses, false},
    {"EROFS", EROFS, kWrites | kGrows, true},
};

[[noreturn]] void fail(const char* what)
{
    std::fprintf(stderr, "crash_fault: %s: %s\n", what, std::strerror(errno));
    std::exit(kCannotWatch);
}

// ---- the filter --------------------------------------------------------------------------------------------

// Lets the kernel ask about every call of the table. The descriptor on which it asks.
int installFilter()
{
    constexpr std::size_t kCount = std::size(kCalls);
    std::array<sock_filter, kCount + 3> program{};
    program[0] = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr));
    for (std::size_t i = 0; i < kCount; ++i)
    {
        program[i + 1] = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(kCalls[i].number),
                                  static_cast<unsigned char>(kCount - i), 0);
    }
    program[kCount + 1] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    program[kCount + 2] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF);
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
    {
        fail("no_new_privs");
    }
    return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter));
}

// A byte with room for a descriptor beside it. The message points into its own object.
struct DescriptorMessage
{
    DescriptorMessage()
    {
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = room;
        message.msg_controllen = sizeof room;
    }
    DescriptorMessage(const DescriptorMessage&) = delete;
    DescriptorMessage& operator=(const DescriptorMessage&) = delete;

    char byte = 0;
    iovec vector{&byte, 1};
    alignas(cmsghdr) char room[CMSG_SPACE(sizeof(int))]{};
    msghdr message{};
};

void sendDescriptor(int socket, int descriptor)
{
    DescriptorMessage sent;
    cmsghdr* const header = CMSG_FIRSTHDR(&sent.message);
    header->cmsg_len = CMSG_LEN(sizeof(int));
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    if (sendmsg(socket, &sent.message, 0) < 0)
    {
        fail("sendmsg");
    }
}

int receiveDescriptor(int socket)
{
    DescriptorMessage received;
    int descriptor = -1;
    if (recvmsg(socket, &received.message, MSG_CMSG_CLOEXEC) > 0 && CMSG_FIRSTHDR(&received.message) != nullptr)
    {
        std::memcpy(&descriptor, CMSG_DATA(CMSG_FIRSTHDR(&received.message)), sizeof descriptor);
    }
    return descriptor;
}

// The program, stopped at each call of the table; listener becomes the descriptor on which the kernel asks.
pid_t startWatched(char** program, int& listener)
{
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
    {
        fail("socketpair");
    }
    const pid_t process = fork();
    if (process == 0)
    {
        const int mine = installFilter();
        if (mine < 0)
        {
            fail("the kernel does not let system calls be watched");
        }
        sendDescriptor(sockets[1], mine);
        // Not closed by hand: that call would be asked about. The kernel closes both in execv.
        fcntl(mine, F_SETFD, FD_CLOEXEC);
        execv(program[0], program);
        fail(program[0]);
    }
    close(sockets[1]);
    listener = receiveDescriptor(sockets[0]);
    close(sockets[0]);
    return process;
}

// ---- what is asked -----------------------------------------------------------------------------------------

const Call* callOf(int number)
{
    for (const Call& call : kCalls)
    {
        if (call.number == number)
        {
            return &call;
        }
    }
    return nullptr;
}

// Up to the terminator or the end of the page that cannot be read.
std::string textAt(pid_t process, unsigned long long address)
{
    std::string text;
    char bytes[256];
    while (text.size() < PATH_MAX)
    {
        // To the end of a block at most: what lies behind it may not be mapped.
        const std::size_t count = sizeof bytes - address % sizeof bytes;
        iovec local{bytes, count};
        iovec remote{reinterpret_cast<void*>(address), count};
        const ssize_t got = process_vm_readv(process, &local, 1, &remote, 1, 0);
        if (got <= 0)
        {
            return text;
        }
        const std::size_t length = strnlen(bytes, static_cast<std::size_t>(got));
        text.append(bytes, length);
        if (length < static_cast<std::size_t>(got))
        {
            return text;
        }
        address += static_cast<unsigned long long>(got);
    }
    return text;
}

std::string linkText(const std::string& path)
{
    char text[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), text, sizeof text);
    return length > 0 ? std::string(text, static_cast<std::size_t>(length)) : std::string();
}

std::string programOf(pid_t process)
{
    const std::string program = linkText("/proc/" + std::to_string(process) + "/exe");
    return program.substr(program.rfind('/') + 1);
}

std::string descriptorPath(pid_t process, int descriptor)
{
    const std::string folder = "/proc/" + std::to_string(process);
    return linkText(descriptor == AT_FDCWD ? folder + "/cwd" : folder + "/fd/" + std::to_string(descriptor));
}

std::string pathOf(const Call& call, const seccomp_notif& asked)
{
    const auto process = static_cast<pid_t>(asked.pid);
    const auto folder = call.folder == kNone ? AT_FDCWD : static_cast<int>(asked.data.args[call.folder]);
    const std::string text = call.path == kNone ? std::string() : textAt(process, asked.data.args[call.path]);
    if (!text.empty() && text[0] == '/')
    {
        return text;
    }
    const std::string base = descriptorPath(process, folder);
    return text.empty() ? base : base + "/" + text;
}

unsigned traitsOf(const Call& call, const seccomp_notif& asked)
{
    if ((call.traits & kOpens) == 0)
    {
        return call.traits;
    }
    const auto flags = asked.data.args[call.flags];
    unsigned traits = kReads;
    if ((flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC)) != 0)
    {
        traits |= kWrites;
    }
    return (flags & O_CREAT) != 0 ? traits | kGrows : traits;
}

bool isBelowARoot(const std::string& path)
{
    for (const char* root : kRoots)
    {
        if (path.rfind(root, 0) == 0)
        {
            return true;
        }
    }
    return false;
}

// ---- the answer --------------------------------------------------------------------------------------------

class Supervisor
{
public:
    Supervisor(const Fault& fault, int nth, bool lists, bool counts, pid_t process, int listener)
        : fault_(fault),
          nth_(nth),
          lists_(lists),
          process_(process),
          listener_(listener),
          counts_(counts)
    {
    }

    // The program's exit status.
    int run()
    {
        seccomp_notif asked;
        pollfd waiting{listener_, POLLIN, 0};
        // Hung up when no process is left that could be asked about.
        while (poll(&waiting, 1, -1) > 0 && (waiting.revents & POLLIN) != 0)
        {
            std::memset(&asked, 0, sizeof asked);
            if (ioctl(listener_, SECCOMP_IOCTL_NOTIF_RECV, &asked) == 0)
            {
                answer(asked);
            }
        }
        std::fprintf(stderr, "counted %d\n", count_);
        return endStatus();
    }

private:
    void answer(const seccomp_notif& asked)
    {
        seccomp_notif_resp response{};
        response.id = asked.id;
        response.error = errorFor(asked);
        if (hasKilled_)
        {
            kill(static_cast<pid_t>(asked.pid), SIGKILL);
            return;
        }
        response.flags = response.error == 0 ? SECCOMP_USER_NOTIF_FLAG_CONTINUE : 0;
        ioctl(listener_, SECCOMP_IOCTL_NOTIF_SEND, &response);
    }

    // The negative error that the call is to return, 0 when it is to be done.
    int errorFor(const seccomp_notif& asked)
    {
        const Call* const call = callOf(asked.data.nr);
        const std::string path = call != nullptr ? pathOf(*call, asked) : std::string();
        if (path.rfind(kMarks, 0) == 0)
        {
            takeMark(path.substr(sizeof kMarks - 1));
            return 0;
        }
        if (!counts_ || !isBelowARoot(path) || (traitsOf(*call, asked) & fault_.hits) == 0)
        {
            return 0;
        }
        ++count_;
        if (lists_)
        {
            std::fprintf(stderr, "%d %s %s %s\n", count_, programOf(static_cast<pid_t>(asked.pid)).c_str(), call->name,
                         path.c_str());
        }
        const bool isHit = nth_ != 0 && (fault_.stays ? count_ >= nth_ : count_ == nth_);
        if (isHit && count_ == nth_)
        {
            std::fprintf(stderr, "hit %d %s %s\n", count_, call->name, path.c_str());
        }
        if (isHit && (call->traits & kCloses) != 0 && fault_.error != 0)
        {
            closeAllTheSame(asked);
        }
        return isHit ? strike() : 0;
    }

    // A close that fails has let go of the file, and of its lock: its number stands for nothing from now on.
    void closeAllTheSame(const seccomp_notif& asked)
    {
        seccomp_notif_addfd nothing{};
        nothing.id = asked.id;
        nothing.flags = SECCOMP_ADDFD_FLAG_SETFD;
        nothing.srcfd = static_cast<unsigned>(nothing_);
        nothing.newfd = static_cast<unsigned>(asked.data.args[0]);
        nothing.newfd_flags = O_CLOEXEC;
        if (ioctl(listener_, SECCOMP_IOCTL_NOTIF_ADDFD, &nothing) < 0)
        {
            kill(process_, SIGKILL);
            fail("a failing close cannot be played");
        }
    }

    void takeMark(const std::string& mark)
    {
        if (mark == "begin" || mark == "end")
        {
            counts_ = mark == "begin";
        }
    }

    int strike()
    {
        if (fault_.error == 0)
        {
            kill(process_, SIGKILL);
            hasKilled_ = true;
        }
        return -fault_.error;
    }

    // Waits for the program and for all that it left behind.
    int endStatus() const
    {
        int status = 0;
        int result = kCannotWatch;
        for (pid_t ended = 0; (ended = wait(&status)) > 0 || errno == EINTR;)
        {
            if (ended == process_)
            {
                result = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
            }
        }
        return result;
    }

    const Fault& fault_;
    const int nth_;
    const bool lists_;
    const pid_t process_;
    const int listener_;
    const int nothing_ = open("/dev/null", O_RDWR | O_CLOEXEC);
    bool counts_;
    bool hasKilled_ = false;
    int count_ = 0;
};

const Fault* faultOf(const char* name)
{
    for (const Fault& fault : kFaults)
    {
        if (std::strcmp(fault.name, name) == 0)
        {
            return &fault;
        }
    }
    return nullptr;
}

}  // namespace

int main(int argc, char** argv)
{
    char** arguments = argv + 1;
    const auto takesFlag = [&](const char* flag) {
        const bool isThere = *arguments != nullptr && std::strcmp(*arguments, flag) == 0;
        arguments += isThere ? 1 : 0;
        return isThere;
    };
    const bool lists = takesFlag("--list");
    const bool countsAll = takesFlag("--all");
    const Fault* const fault = argv + argc - arguments >= 3 ? faultOf(arguments[0]) : nullptr;
    if (fault == nullptr)
    {
        std::fprintf(stderr, "usage: crash_fault [--list] [--all] kill|ENOSPC|EIO|EROFS NTH PROGRAM [ARGUMENT ...]\n");
        return kUsage;
    }
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    int listener = -1;
    const pid_t process = startWatched(arguments + 2, listener);
    if (listener < 0)
    {
        waitpid(process, nullptr, 0);
        return kCannotWatch;
    }
    return Supervisor(*fault, std::atoi(arguments[1]), lists, countsAll, process, listener).run();
}
