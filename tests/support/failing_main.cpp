// In front of a program's own main, which its linker calls the real one: it suffers from its beginning.
#include "failing_system.h"

extern "C" int __real_main(int argc, char** argv);
extern "C" int __wrap_main(int argc, char** argv);
int __wrap_main(int argc, char** argv) {
    orvi_test::SufferAsToldByEnvironment();
    return __real_main(argc, argv);
}
