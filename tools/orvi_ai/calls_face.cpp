// Face detectors and photos. Outside of a script a command makes the detector that it needs.
#include <cstdio>
#include <fstream>
#include <iterator>

#include "calls.h"
#include "wire_records.h"

namespace orvi_ai {
namespace {

using orvi_protocol::JsonString;

// A detector as the options of `face create` say; those of other commands have what is usual.
int Create(Session& session, const tagAiCreateDetTrack& wanted, const std::string& name) {
    void* detector = nullptr;
    const int result =
        OrviAiSrvCreateFaceDetector(&detector, wanted.sourceId, wanted.frameRate, wanted.needReID, &Events::OnFace);
    if (result == 0) {
        session.Keep(name, detector);
    }
    return result;
}

int CreateUsual(Session& session, uint32_t rate) {
    tagAiCreateDetTrack wanted{};
    wanted.frameRate = static_cast<int32_t>(rate);
    wanted.needReID = 1;
    return Create(session, wanted, "");
}

// The detector that a command is about. Null, with the reason in `outcome`, when there is none.
void* DetectorFor(Session& session, const Call& call, Outcome& outcome) {
    if (!session.IsScript() && session.Find("") == nullptr && CreateUsual(session, call.rate.value_or(1)) != 0) {
        outcome = Failed("no detector could be created");
        return nullptr;
    }
    void* const detector = session.Find(call.detector);
    if (detector == nullptr) {
        const std::string which = call.detector.empty() ? "no detector" : "no detector '" + call.detector + "'";
        outcome = Failed(which + " has been created by this run: face create [--as NAME]");
    }
    return detector;
}

// Prints the photos, and saves them when a folder is named.
void ShowPhotos(const Call& call, const tagOrviAiSrvPhotoResult& photos, Outcome& outcome) {
    outcome.json = "{\"photos\":[";
    for (int32_t i = 0; i < photos.photoNums; ++i) {
        const tagOrviAiSrvPhotoInfo& photo = photos.photoList[i];
        const std::string bytes = std::to_string(photo.imgLen);
        const std::string face = std::to_string(photo.faceId);
        std::string path;
        if (!call.out.empty()) {
            path = call.out + "/face-" + face + "." + ExtensionOf(photo.imgData, photo.imgLen);
            if (!WriteFile(path, photo.imgData, photo.imgLen, outcome.reason)) {
                outcome.result = -1;
                path.clear();
            }
        }
        outcome.text.append("  face ").append(face).append("  ").append(bytes).append(" bytes");
        outcome.text.append(path.empty() ? "" : "  ").append(path).append("\n");
        outcome.json.append(i == 0 ? "{" : ",{").append("\"face\":").append(face).append(",\"bytes\":").append(bytes);
        outcome.json.append(path.empty() ? "" : ",\"file\":" + JsonString(path)).append("}");
    }
    outcome.json += "]}";
}

}  // namespace

Outcome FaceCreate(Session& session, const Call& call) {
    return Returned(Create(session, As<tagAiCreateDetTrack>(call.payload), call.as));
}

Outcome FaceDestroy(Session& session, const Call& call) {
    Outcome outcome;
    if (void* const detector = DetectorFor(session, call, outcome)) {
        outcome.result = OrviAiSrvDestroyFaceDetector(detector);
        session.Forget(call.detector);
    }
    return outcome;
}

Outcome FaceStart(Session& session, const Call& call) {
    Outcome outcome;
    if (void* const detector = DetectorFor(session, call, outcome)) {
        outcome.result = OrviAiSrvStartFaceDetector(detector);
    }
    return outcome;
}

Outcome FaceStop(Session& session, const Call& call) {
    Outcome outcome;
    if (void* const detector = DetectorFor(session, call, outcome)) {
        outcome.result = OrviAiSrvStopFaceDetector(detector);
    }
    return outcome;
}

Outcome FacePhotos(Session& session, const Call& call) {
    Outcome outcome;
    void* const detector = DetectorFor(session, call, outcome);
    if (detector == nullptr) {
        return outcome;
    }
    auto query = As<tagAiFaceQuery>(call.payload);
    tagOrviAiSrvPhotoResult photos{};
    outcome.result = OrviAiSrvFaceDetectorGetById(detector, query.faceId, query.count, &photos);
    if (outcome.result == 0) {
        ShowPhotos(call, photos, outcome);
        OrviAiService::FreePhotoResult(&photos, photos.photoNums);
    }
    return outcome;
}

Outcome FaceExtract(Session&, const Call& call) {
    Outcome outcome;
    if (!IsReadable(call.words[0])) {
        return Failed(call.words[0] + " cannot be read");
    }
    std::ifstream file(call.words[0], std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(file), {});
    // The function trusts its buffer: only a reply that holds what it announces is handed to it.
    const orvi_protocol::Decoded decoded =
        Decode(orvi_protocol::FindMessage("face.photos")->reply, bytes.data(), bytes.size());
    if (!decoded.faults.empty()) {
        return Failed(call.words[0] + " is no reply with photos: " + decoded.faults[0]);
    }
    tagOrviAiSrvPhotoResult photos{};
    outcome.result = OrviAiService::PhotoResultExtract(reinterpret_cast<uint8_t*>(bytes.data()), &photos);
    if (outcome.result == 0) {
        ShowPhotos(call, photos, outcome);
        OrviAiService::FreePhotoResult(&photos, photos.photoNums);
    }
    return outcome;
}

}  // namespace orvi_ai
