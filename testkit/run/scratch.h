// The private directory of one run: the bus directory and the logs. It goes with the object, in whichever process
// that is destroyed.
#ifndef ORVI_TEST_RUN_SCRATCH_H
#define ORVI_TEST_RUN_SCRATCH_H

#include <string>

namespace orvi_test_run {

class Scratch {
 public:
    // Names the directory of a run to what runs inside it: a run that is ended there cannot clear up any more.
    static constexpr char OUTER[] = "ORVI_TEST_RUN_DIR";

    // Inside the directory of an outer run, else below $TMPDIR, or below /tmp where that leaves a socket's address too
    // little room. Throws std::system_error.
    Scratch();
    ~Scratch() { Remove(); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    const std::string& Path() const { return directory_; }
    std::string Path(const char* name) const { return directory_ + "/" + name; }
    std::string BusDirectory() const { return Path("bus"); }

    // A new file, closed on exec. Throws std::system_error.
    int Create(const char* name) const;

    // A file for people: a heading, and its last part when it is long. Nothing when it is empty or missing.
    std::string Shown(const char* name, const char* heading) const;

    void Remove();
    void Forget() { directory_.clear(); }  // another process has removed it

 private:
    std::string directory_;
};

}  // namespace orvi_test_run

#endif
