#include "platform/posix/LockedFileUpdate.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

namespace qn::platform::posix {

namespace {

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int Get() const { return fd_; }
    bool IsValid() const { return fd_ >= 0; }
    int Release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

  private:
    int fd_;
};

FileOutcome OutcomeFromErrno(int error) {
    switch (error) {
        case ENOENT:
            return FileOutcome::kNotFound;
        case ENOTDIR:
            return FileOutcome::kPathNotFound;
        case EACCES:
        case EPERM:
        case EROFS:
            return FileOutcome::kAccessDenied;
        default:
            return FileOutcome::kFailed;
    }
}

// A failed write: a vanished folder is a path error; nothing else can be "not found".
FileOutcome WriteFailure(int error) {
    const FileOutcome outcome = OutcomeFromErrno(error);
    return outcome == FileOutcome::kNotFound ? FileOutcome::kPathNotFound : outcome;
}

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

bool WriteAll(int fd, const std::string& content) {
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t result = write(fd, content.data() + written, content.size() - written);
        if (result < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        written += static_cast<std::size_t>(result);
    }
    return true;
}

FileOutcome ReplaceFile(const std::string& path, const std::string& content) {
    mode_t mode = 0644;
    struct stat status {};
    const bool existed = stat(path.c_str(), &status) == 0;
    if (existed) mode = status.st_mode & 07777;

    std::string temporary = path + ".XXXXXX";
    std::vector<char> pattern(temporary.begin(), temporary.end());
    pattern.push_back('\0');
    FileDescriptor fd(mkstemp(pattern.data()));
    if (!fd.IsValid()) return WriteFailure(errno);
    temporary.assign(pattern.data());
    const bool written = WriteAll(fd.Get(), content) && fchmod(fd.Get(), mode) == 0;
    // The replacement keeps the old file's owner where we may set it (an administrator's edit stays theirs).
    if (existed && (status.st_uid != geteuid() || status.st_gid != getegid())) {
        [[maybe_unused]] const int ignored = fchown(fd.Get(), status.st_uid, status.st_gid);
    }
    const bool closed = close(fd.Release()) == 0;
    if (!written || !closed || rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        return WriteFailure(error);
    }
    return FileOutcome::kOk;
}

// Locks the file itself, so that nothing is left beside it. A writer replaces the file by renaming a new
// one over it, so a lock won on the old file may name a file that is gone: then lock the new one instead.
// A missing file is created empty first (0644 as any new store; the umask may narrow it).
FileOutcome LockCurrentFile(const std::string& path, int& lockedFd) {
    for (;;) {
        FileDescriptor candidate(open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644));
        if (!candidate.IsValid()) return OutcomeFromErrno(errno);
        while (flock(candidate.Get(), LOCK_EX) != 0) {
            if (errno != EINTR) return FileOutcome::kFailed;
        }
        struct stat locked {
        }, current{};
        if (fstat(candidate.Get(), &locked) != 0) return FileOutcome::kFailed;
        if (stat(path.c_str(), &current) == 0 && current.st_dev == locked.st_dev &&
            current.st_ino == locked.st_ino) {
            lockedFd = candidate.Release();
            return FileOutcome::kOk;
        }
    }
}

}  // namespace

FileOutcome ReadWholeFile(const std::string& path, std::string& content) {
    content.clear();
    FileDescriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.IsValid()) return OutcomeFromErrno(errno);
    char chunk[8192];
    for (;;) {
        const ssize_t result = read(fd.Get(), chunk, sizeof(chunk));
        if (result < 0) {
            if (errno == EINTR) continue;
            return FileOutcome::kFailed;
        }
        if (result == 0) return FileOutcome::kOk;
        content.append(chunk, static_cast<std::size_t>(result));
    }
}

bool CanReplaceFile(const std::string& path) {
    if (access(FolderOf(path).c_str(), W_OK | X_OK) != 0) return false;
    return access(path.c_str(), W_OK) == 0 || errno == ENOENT;
}

FileOutcome UpdateFileLocked(const std::string& path,
                             const std::function<bool(std::string& content)>& modify) {
    const std::string folder = FolderOf(path);
    if (access(folder.c_str(), F_OK) != 0) return FileOutcome::kPathNotFound;
    if (!CanReplaceFile(path)) return FileOutcome::kAccessDenied;

    int lockedFd = -1;
    if (const FileOutcome locked = LockCurrentFile(path, lockedFd); locked != FileOutcome::kOk) return locked;
    const FileDescriptor lock(lockedFd);

    std::string content;
    const FileOutcome read = ReadWholeFile(path, content);
    if (read != FileOutcome::kOk && read != FileOutcome::kNotFound) return read;
    if (!modify(content)) return FileOutcome::kOk;
    return ReplaceFile(path, content);  // the lock is released when `lock` closes
}

}  // namespace qn::platform::posix
