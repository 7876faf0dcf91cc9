#include "membership/directory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "wire/bus_name.h"

namespace orvi_bus {

namespace {

// The longest endpoint of plain names, with the mark of one that is being made.
constexpr size_t kLongestEndpoint = 2 * (OS_MSG_NAME_SIZE - 1) + 2;

bool Refuse(std::string* why, const std::string& path, const std::string& reason) {
    *why = "bus directory " + path + " refused: " + reason;
    return false;
}

// The private directory's place: the user's runtime directory if there is one, else the temporary directory.
std::string PrivatePath() {
    const uid_t uid = geteuid();
    const char* runtime = getenv("XDG_RUNTIME_DIR");
    struct stat status {};
    if (runtime != nullptr && *runtime == '/' && stat(runtime, &status) == 0 && S_ISDIR(status.st_mode) &&
        status.st_uid == uid) {
        return std::string(runtime) + "/orvi-bus";
    }
    const char* temporary = getenv("TMPDIR");
    const std::string base = temporary != nullptr && *temporary == '/' ? temporary : "/tmp";
    return base + "/orvi-bus-" + std::to_string(uid);
}

std::string Octal(mode_t mode) {
    char text[16];
    snprintf(text, sizeof(text), "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

bool CheckDirectory(const Directory& directory, const struct stat& status, std::string* why) {
    const uid_t uid = geteuid();
    const std::string owner = "it is owned by uid " + std::to_string(status.st_uid);
    if (S_ISLNK(status.st_mode)) {
        return Refuse(why, directory.path, "it is a symbolic link");
    }
    if (!S_ISDIR(status.st_mode)) {
        return Refuse(why, directory.path, "it is not a directory");
    }
    if (directory.shared) {
        if (status.st_uid != 0 && status.st_uid != uid) {
            return Refuse(why, directory.path, owner + ", neither root nor uid " + std::to_string(uid));
        }
        if ((status.st_mode & S_IWOTH) != 0) {
            return Refuse(why, directory.path, "everybody may write to it (mode " + Octal(status.st_mode) + ")");
        }
    } else {
        if (status.st_uid != uid) {
            return Refuse(why, directory.path, owner + ", not by uid " + std::to_string(uid));
        }
        if ((status.st_mode & 0777) != 0700) {
            return Refuse(why, directory.path, "its mode is " + Octal(status.st_mode) + ", not 0700");
        }
    }
    if (faccessat(AT_FDCWD, directory.path.c_str(), R_OK | W_OK | X_OK, AT_EACCESS) != 0) {
        return Refuse(why, directory.path,
                      std::string("uid ") + std::to_string(uid) + " may not use it: " + strerror(errno));
    }
    return true;
}

}  // namespace

bool FindDirectory(Directory* directory, std::string* why) {
    const char* named = getenv("ORVI_BUS_DIR");
    directory->shared = named != nullptr && *named != '\0';
    directory->path = directory->shared ? named : PrivatePath();
    directory->fileMode = directory->shared ? 0660 : 0600;
    std::string& path = directory->path;
    if (path[0] != '/') {
        return Refuse(why, path, "ORVI_BUS_DIR is not an absolute path");
    }
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();  // a trailing slash would follow a symbolic link
    }
    sockaddr_un address{};
    if (path.size() + 1 + kLongestEndpoint >= sizeof(address.sun_path)) {
        return Refuse(why, path,
                      "the path is too long for a socket's address, by " +
                          std::to_string(path.size() + 2 + kLongestEndpoint - sizeof(address.sun_path)) + " bytes");
    }
    return FindAgain(directory, why);
}

bool FindAgain(Directory* directory, std::string* why) {
    const std::string& path = directory->path;
    int notMade = 0;
    if (!directory->shared) {
        notMade = mkdir(path.c_str(), 0700) == 0 ? 0 : errno;
        if (notMade == 0) {
            (void)chmod(path.c_str(), 0700);  // the umask may have taken bits away; checked below
        }
    }
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        const bool missing = errno == ENOENT && notMade != 0;
        return Refuse(why, path, missing ? std::string("it cannot be made: ") + strerror(notMade) : strerror(errno));
    }
    directory->group = status.st_gid;
    return CheckDirectory(*directory, status, why);
}

std::string PresencePath(const Directory& directory, const char* procName) {
    return directory.path + '/' + EncodeName(procName) + kPresenceSuffix;
}

std::string EndpointPath(const Directory& directory, const char* procName, const char* taskName) {
    return directory.path + '/' + EncodeName(procName) + kTaskSeparator + EncodeName(taskName);
}

std::string JoinLockPath(const Directory& directory) {
    return directory.path + '/' + kPresenceSuffix;
}

std::string PresenceStem(const std::string& fileName) {
    const size_t suffix = sizeof(kPresenceSuffix) - 1;
    if (fileName.size() <= suffix || fileName.compare(fileName.size() - suffix, suffix, kPresenceSuffix) != 0) {
        return {};
    }
    return fileName.substr(0, fileName.size() - suffix);
}

bool AdoptSocket(const Directory& directory, const std::string& path) {
    // Neither call follows a symbolic link that another member of the group might put into the path's place.
    if (directory.shared) {
        (void)!lchown(path.c_str(), static_cast<uid_t>(-1), directory.group);
    }
    return fchmodat(AT_FDCWD, path.c_str(), directory.fileMode, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace orvi_bus
