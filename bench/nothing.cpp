// orvi-bench-nothing: the program without the library, beside which an idle application's memory is measured.
#include <cstdio>
#include <unistd.h>

int main() {
    (void)puts("ready");
    (void)fflush(stdout);
    for (;;) {
        (void)pause();
    }
}
