/* The smallest application: calls that need no service. */
#include <orvi_ai_srv.h>
#include <stdio.h>

int main(void) {
    tagOrviAppInfo application = {0};
    char version[16];
    if (OrviAiSrvApiInit(application, NULL) != -1 || OrviAiSrvGetVersion(version, sizeof(version)) != 0) {
        return 1;
    }
    puts(version);
    return 0;
}
