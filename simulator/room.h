// Everything that the service is made of, in the order in which it is built. `main` owns one.
#ifndef ORVI_SIM_ROOM_H
#define ORVI_SIM_ROOM_H

#include <vector>

#include "directions/directions.h"
#include "directions/fault_directions.h"
#include "directions/journal_directions.h"
#include "directions/room_task.h"
#include "directions/service_directions.h"
#include "features/assistant/assistant.h"
#include "features/captions/captions.h"
#include "features/checkin/checkin.h"
#include "features/connection/connection.h"
#include "features/director/director.h"
#include "features/face/face.h"
#include "features/minutes/minutes.h"
#include "features/model/model.h"
#include "features/nameplate/nameplate.h"
#include "service/service.h"
#include "service/stage.h"
#include "stop_signal.h"

namespace orvi_sim {

struct Room {
    StopSignal stop;
    Stage stage;

    Connection connection{stage};
    Face face{stage};
    Captions captions{stage};
    Nameplate nameplate{stage};
    Director director;
    Checkin checkin{stage};
    Minutes minutes;
    Model model{stage};
    Assistant assistant{stage};
    // A new feature: an object above, its name here.
    const std::vector<Feature*> features = {&connection, &face,    &captions, &nameplate, &director,
                                            &checkin,    &minutes, &model,    &assistant};

    Service service{stage, stop, features};
    ServiceDirections serviceDirections{stage, service, stop, features};
    FaultDirections faultDirections{stage, service};
    JournalDirections journalDirections{service.GetTraffic(), stop};
    Directions directions{stage};
    RoomTask roomTask{directions};

    Room() {
        directions.AddOnStage(serviceDirections.OnStage());
        directions.Add(serviceDirections.OffStage());
        directions.AddOnStage(faultDirections.OnStage());
        directions.Add(journalDirections.OffStage());
        for (Feature* feature : features) {
            directions.AddOnStage(feature->Directions());
        }
        directions.Check();
    }
    // No timer and no loop may be inside a feature when it is destroyed.
    ~Room() {
        service.Stop();
        roomTask.Stop();
    }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;
};

}  // namespace orvi_sim

#endif
