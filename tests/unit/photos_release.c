#include "orvi_ai_srv.h"

/* Releases a result the way a C program does; the number of photos that it had with an image. */
int ReleasePhotosFromC(tagOrviAiSrvPhotoResult* result);
int ReleasePhotosFromC(tagOrviAiSrvPhotoResult* result) {
    int images = 0;
    for (int i = 0; i < result->photoNums; ++i) {
        images += result->photoList[i].imgData != NULL;
    }
    OrviAiService_FreePhotoResult(result, result->photoNums);
    OrviAiService_FreePhotoResult(result, result->photoNums);
    return images;
}
