/* The smallest application: a call that the library refuses, so that it needs no service. */
#include <orvi_ai_srv.h>

int main(void) {
    tagOrviAppInfo application = {0};
    return OrviAiSrvApiInit(application, NULL) == -1 ? 0 : 1;
}
