// A process that joins the bus by its identity alone, without tasks: a fork of the test that obeys lines on a pipe.
#ifndef ORVI_TESTS_HOST_MEMBER_H
#define ORVI_TESTS_HOST_MEMBER_H

#include <string>
#include <sys/types.h>

class Member {
 public:
    struct Options {
        uid_t uid = 0;  // with a group: which user it becomes; only root can
        gid_t gid = 0;
        bool ownPidNamespace = false;
    };
    // What it says of the bus goes to the file `errors`.
    Member(const std::string& directory, const std::string& errors) : Member(directory, errors, Options()) {}
    Member(const std::string& directory, const std::string& errors, const Options& options);
    ~Member();  // kills it
    Member(const Member&) = delete;
    Member& operator=(const Member&) = delete;

    // join NAME [ALLOCATIONS]  result; the allocation after so many fails: "bad_alloc"
    // start, number, inplace, putback
    // look NAME                "absent", "unknown ERRNO" or "alive|dead started|joined PID UID EARLIER"
    // looks NAME               20,000 looks, until one finds more than nothing
    // history NAME             numbers, newest first, those of the started marked by a '*'
    // umask OCTAL, limit NUMBER (of descriptors), fds (how many are open)
    // exhaust                  takes all descriptors: the errno of the next; release gives them back
    // hold FILE                like a record; readlock FILE: as everybody can who may read it
    std::string Ask(const std::string& line);
    void Tell(const std::string& line);
    std::string Answer();
    void Kill();
    pid_t Pid() const { return pid_; }

 private:
    pid_t pid_ = -1;
    int in_ = -1;
    int out_ = -1;
};

#endif
