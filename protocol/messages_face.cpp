// Face detectors, their pictures, and the stored photos of faces.
#include "common_records.h"
#include "message.h"
#include "message_ids.h"

namespace orvi_protocol {
namespace {

using namespace OrviAiService;

constexpr Field CREATE_FIELDS[] = {
    Sub("client", ORVI_PLACE(tagAiCreateDetTrack, client), CLIENT, "who asks"),
    Number("source", ORVI_PLACE(tagAiCreateDetTrack, sourceId), "the video source").In(0, 0),
    Number("rate", ORVI_PLACE(tagAiCreateDetTrack, frameRate), "results wanted")
        .In(1, 30)
        .Unit("per second")
        .Initially("5"),
    Flag("reid", ORVI_PLACE(tagAiCreateDetTrack, needReID), "a face that comes back gets its former id"),
    Reserved("padding", ORVI_PLACE(tagAiCreateDetTrack, padding)),
};
constexpr Record CREATE = Whole<tagAiCreateDetTrack>("face detector wanted", CREATE_FIELDS);

constexpr Word STATUS_WORDS[] = {
    {ORVI_SIM_DETECTOR_CREATED, "created"},
    {ORVI_SIM_DETECTOR_RUNNING, "running"},
    {ORVI_SIM_DETECTOR_STOPPED, "stopped"},
    {ORVI_SIM_DETECTOR_DESTROYED, "destroyed"},
};

constexpr Field DETECTOR_FIELDS[] = {
    Sub("client", ORVI_PLACE(tagAiDetClientInfo, address), CLIENT, "whose detector it is"),
    Number("status", ORVI_PLACE(tagAiDetClientInfo, status), "what it is doing").Named(STATUS_WORDS),
    Number("rate", ORVI_PLACE(tagAiDetClientInfo, service40), "results sent").Unit("per second"),
    Number("source", ORVI_PLACE(tagAiDetClientInfo, sourceId), "the video source"),
    Number("number", ORVI_PLACE(tagAiDetClientInfo, service48), "of the detector"),
};
constexpr Record DETECTOR = Whole<tagAiDetClientInfo>("face detector", DETECTOR_FIELDS);

constexpr Field REFUSAL_FIELDS[] = {
    Inline(ORVI_PLACE(OrviSimDetectorRefusal, detector), DETECTOR),
    Number("verdict", ORVI_PLACE(OrviSimDetectorRefusal, verdict), "why not").Named(VERDICT_WORDS),
};
constexpr Record REFUSAL = Whole<OrviSimDetectorRefusal>("face detector refused", REFUSAL_FIELDS);

constexpr Field QUERY_FIELDS[] = {
    Inline(ORVI_PLACE(tagAiFaceQuery, detector), DETECTOR),
    List(Number("faces", ORVI_PLACE(tagAiFaceQuery, faceId), "ids as in the detection results"),
         ORVI_PLACE(tagAiFaceQuery, faceId))
        .CountedBy("count"),
    Number("count", ORVI_PLACE(tagAiFaceQuery, count), "of the faces").In(1, tagAiFaceQuery::MAX_IDS),
};
constexpr Record QUERY = Whole<tagAiFaceQuery>("face photos wanted", QUERY_FIELDS);

constexpr Field PHOTO_FIELDS[] = {
    Number("face", ORVI_PLACE(PhotoHead, faceId), "whose it is"),
    Number("bytes", ORVI_PLACE(PhotoHead, imgLen), "of the image").Unit("bytes"),
    Bytes("image", {sizeof(PhotoHead), 0, 1, false}, "as the service stores it")
        .CountedBy("bytes")
        .Ends(Extent::Packed)
        .Private(),
};
constexpr Record PHOTO = {"face photo", sizeof(PhotoHead), UNBOUNDED, PHOTO_FIELDS};

constexpr Field PHOTOS_FIELDS[] = {
    Number("count", AtStart(4, true), "of the photos").In(0, INT32_MAX),
    List(Sub("photos", {4, 0, 0, false}, PHOTO, "of those faces that are known"), {4, 0, 0, false})
        .CountedBy("count")
        .Ends(Extent::Packed),
};
constexpr Record PHOTOS = {"face photos", 4, UNBOUNDED, PHOTOS_FIELDS};

constexpr Field FACE_FIELDS[] = {
    Number("face", ORVI_PLACE(OrviSimFace, faceId), "the same while it is in view"),
    Number("left", ORVI_PLACE(OrviSimFace, left), "of its box").In(0, ORVI_SIM_PICTURE_WIDTH).Unit("pixels"),
    Number("top", ORVI_PLACE(OrviSimFace, top), "of its box").In(0, ORVI_SIM_PICTURE_HEIGHT).Unit("pixels"),
    Number("width", ORVI_PLACE(OrviSimFace, width), "of its box").In(0, ORVI_SIM_PICTURE_WIDTH).Unit("pixels"),
    Number("height", ORVI_PLACE(OrviSimFace, height), "of its box").In(0, ORVI_SIM_PICTURE_HEIGHT).Unit("pixels"),
    Number("score", ORVI_PLACE(OrviSimFace, score), "how sure the detection is").In(0, 100).Unit("percent"),
    Number("yaw", ORVI_PLACE(OrviSimFace, yaw), "where it looks: to its left").Unit("degrees"),
    Number("pitch", ORVI_PLACE(OrviSimFace, pitch), "up").Unit("degrees"),
    Number("roll", ORVI_PLACE(OrviSimFace, roll), "tilted to its left").Unit("degrees"),
    Number("inView", ORVI_PLACE(OrviSimFace, inViewMs), "since it came into view").Unit("ms"),
};
constexpr Record FACE = Whole<OrviSimFace>("face", FACE_FIELDS);

constexpr Field PICTURE_FIELDS[] = {
    Number("count", ORVI_PLACE(OrviSimFaceEvent, faceCount), "of the faces").In(0, ORVI_SIM_MAX_FACES),
    List(Sub("faces", ORVI_PLACE(OrviSimFaceEvent, faces), FACE, "in the picture"), ORVI_PLACE(OrviSimFaceEvent, faces))
        .CountedBy("count"),
    Number("source", ORVI_PLACE(OrviSimFaceEvent, sourceId), "the video source"),
};
constexpr Record PICTURE = Whole<OrviSimFaceEvent>("faces in a picture", PICTURE_FIELDS);
static_assert(sizeof(OrviSimFaceEvent) == sizeof(tagOrviAiSrvFaceDetEvent) &&
              offsetof(OrviSimFaceEvent, sourceId) == offsetof(tagOrviAiSrvFaceDetEvent, sourceId));

constexpr Message MESSAGES[] = {
    Request("face.create", AI_MSG_DETECT_TRACK_CREATE, TASK_INTERFACE, "OrviAiSrvCreateFaceDetector", WAIT_OF_BUS,
            &CREATE, ReplyRule::DataUpTo, &DETECTOR, "a new face detector, which stands still")
        .RefusedBy(REFUSAL),
    Request("face.destroy", AI_MSG_DETECT_TRACK_DESTROY, TASK_INTERFACE, "OrviAiSrvDestroyFaceDetector", WAIT_OF_BUS,
            &DETECTOR, ReplyRule::AnyUpTo, &DETECTOR, "a face detector is no longer wanted")
        .RefusedBy(REFUSAL),
    Request("face.start", AI_MSG_DETECT_TRACK_START, TASK_INTERFACE, "OrviAiSrvStartFaceDetector", WAIT_OF_BUS,
            &DETECTOR, ReplyRule::AnyUpTo, &DETECTOR, "a face detector sends its results from now on")
        .RefusedBy(REFUSAL),
    Request("face.stop", AI_MSG_DETECT_TRACK_STOP, TASK_INTERFACE, "OrviAiSrvStopFaceDetector", WAIT_OF_BUS, &DETECTOR,
            ReplyRule::AnyUpTo, &DETECTOR, "a face detector stands still again")
        .RefusedBy(REFUSAL),
    Request("face.photos", AI_MSG_FACE_GET_BY_ID, TASK_INTERFACE, "OrviAiSrvFaceDetectorGetById", WAIT_OF_BUS, &QUERY,
            ReplyRule::Photos, &PHOTOS, "the stored photos of some faces")
        .RefusedBy(VERDICT),

    Event("face.event", AI_EVT_FACE, Callback::Face, -1, &PICTURE, "the faces in a picture of a video source"),
};

}  // namespace

Rows<Message> FaceMessages() {
    return MESSAGES;
}

}  // namespace orvi_protocol
