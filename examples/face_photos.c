/* Faces in C: watch the faces in the picture for a moment, then save the stored photos of two of them.
 *
 * usage: face_photos [DIRECTORY]        where the photos go; the current directory by default
 *
 * Try it with the simulated service (orvi-vision-sim) in a second terminal. What a face event holds is the service's
 * own: a device needs its service's layouts in the place of orvi_vision_sim_payloads.h.
 */
#include <inttypes.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>

#include "orvi_ai_srv.h"
#include "orvi_vision_sim_payloads.h"

enum { PICTURES_PER_SECOND = 5, PICTURES = 8, PHOTOS = 2 };

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER; /* guards the three below */
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
static int seen;
static int serviceIsGone;
static OrviSimFaceEvent lastPicture;

static void OnEvent(OrviAiEventId event, void* payload) {
    (void)payload;
    if (event == ORVI_AI_EVENT_SERVICE_EXIT) {
        pthread_mutex_lock(&lock);
        serviceIsGone = 1;
        pthread_cond_signal(&changed);
        pthread_mutex_unlock(&lock);
    }
}

/* Runs on the library's message thread; the event is gone when we return. */
static void OnFaces(tagOrviAiSrvFaceDetEvent* event) {
    OrviSimFaceEvent picture;
    memcpy(&picture, event, sizeof(picture));
    if (picture.faceCount > ORVI_SIM_MAX_FACES) {
        return;
    }
    printf("face_photos: %" PRIu32 " faces:", picture.faceCount);
    for (uint32_t i = 0; i < picture.faceCount; ++i) {
        const OrviSimFace* face = &picture.faces[i];
        printf("  [%" PRIu32 "] %" PRId32 "x%" PRId32 " at %" PRId32 ",%" PRId32 " %" PRIu32 "%%", face->faceId,
               face->width, face->height, face->left, face->top, face->score);
    }
    putchar('\n');

    pthread_mutex_lock(&lock);
    lastPicture = picture;
    ++seen;
    pthread_cond_signal(&changed);
    pthread_mutex_unlock(&lock);
}

static int SavePhoto(const char* directory, const tagOrviAiSrvPhotoInfo* photo) {
    static const uint8_t PNG[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const int isPng = photo->imgLen >= sizeof(PNG) && memcmp(photo->imgData, PNG, sizeof(PNG)) == 0;
    char path[1024];
    const int length =
        snprintf(path, sizeof(path), "%s/face-%" PRIu32 ".%s", directory, photo->faceId, isPng ? "png" : "bin");
    FILE* file = length > 0 && (size_t)length < sizeof(path) ? fopen(path, "wb") : NULL;
    if (file == NULL) {
        printf("face_photos: cannot create a file in %s\n", directory);
        return -1;
    }
    const size_t written = fwrite(photo->imgData, 1, photo->imgLen, file);
    if (fclose(file) != 0 || written != photo->imgLen) {
        printf("face_photos: cannot write %s\n", path);
        return -1;
    }
    printf("face_photos: saved %s, %" PRIu32 " bytes\n", path, photo->imgLen);
    return 0;
}

/* Watches a few pictures and saves the photos of the first faces in the last one. */
static int WatchAndSave(void* detector, const char* directory) {
    if (OrviAiSrvStartFaceDetector(detector) != 0) {
        return -1;
    }
    int ids[PHOTOS];
    int count = 0;
    pthread_mutex_lock(&lock);
    while (seen < PICTURES && !serviceIsGone) {
        pthread_cond_wait(&changed, &lock);
    }
    for (uint32_t i = 0; i < lastPicture.faceCount && count < PHOTOS; ++i) {
        ids[count++] = (int)lastPicture.faces[i].faceId;
    }
    pthread_mutex_unlock(&lock);

    tagOrviAiSrvPhotoResult photos;
    if (count == 0 || OrviAiSrvFaceDetectorGetById(detector, ids, count, &photos) != 0) {
        return -1;
    }
    int result = 0;
    for (int32_t i = 0; i < photos.photoNums; ++i) {
        if (SavePhoto(directory, &photos.photoList[i]) != 0) {
            result = -1;
        }
    }
    OrviAiService_FreePhotoResult(&photos, photos.photoNums);
    return result;
}

int main(int argc, char** argv) {
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ); /* a line is seen when it is written, also through a pipe */

    tagOrviAppInfo identity;
    memset(&identity, 0, sizeof(identity));
    strcpy(identity.appId, "face-photos");
    if (OrviAiSrvApiInit(identity, OnEvent) != 0) {
        puts("face_photos: the vision service does not run");
        return 1;
    }
    void* detector = NULL;
    int result = OrviAiSrvCreateFaceDetector(&detector, 0, PICTURES_PER_SECOND, 1, OnFaces);
    if (result == 0) {
        result = WatchAndSave(detector, argc > 1 ? argv[1] : ".");
        if (OrviAiSrvDestroyFaceDetector(detector) != 0) { /* frees the handle in any case */
            result = -1;
        }
    }
    if (OrviAiSrvApiDeinit() != 0) {
        result = -1;
    }
    puts(result == 0 ? "face_photos: done" : "face_photos: failed, the log has the reason");
    return result == 0 ? 0 : 1;
}
