#include "features/checkin/attendance.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "features/face/portrait.h"

namespace orvi_sim {
namespace {

constexpr size_t EVERY_GUEST = 6;
constexpr const char* NAMES[] = {"Mira Holm",  "Jonas Feld",  "Tove Lind",  "Pavel Oro",   "Ines Marat",  "Leo Brandt",
                                 "Nuria Vale", "Emil Sorens", "Aya Kitami", "Oskar Wenge", "Dina Farrow", "Hugo Stein"};

std::string ParticipantName(size_t index) {
    return index < std::size(NAMES) ? NAMES[index] : "Participant " + std::to_string(index + 1);
}

std::string UserIdOf(size_t index) {
    char userId[32];
    std::snprintf(userId, sizeof(userId), "user-%04zu", index + 1);
    return userId;
}

std::string AccountOf(const std::string& name) {
    std::string account = name + "@conference.example";
    for (char& letter : account) {
        letter = letter == ' ' ? '.' : static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return account;
}

// The text's beginning, with its NUL; the field is zero.
template <size_t SIZE>
void SetText(char (&field)[SIZE], const std::string& text) {
    std::memcpy(field, text.c_str(), std::min(text.size(), SIZE - 1));
}

bool operator==(const ConferenceId& left, const ConferenceId& right) {
    return left.uuid == right.uuid && left.id == right.id;
}

}  // namespace

void Attendance::SetParticipants(size_t count) {
    participants_.clear();
    for (size_t i = 0; i < std::min(count, MOST_PARTICIPANTS); ++i) {
        Participant participant;
        participant.userId = UserIdOf(i);
        participant.name = ParticipantName(i);
        participant.account = AccountOf(participant.name);
        participant.invited = (i + 1) % EVERY_GUEST != 0;
        participants_.push_back(std::move(participant));
    }
}

void Attendance::ForgetArrivals() {
    for (Participant& participant : participants_) {
        participant.photo.clear();
        participant.arrival = 0;
        participant.checkinTime = 0;
    }
    present_ = 0;
    arrivals_ = 0;
}

uint8_t Attendance::Start(const ConferenceId& conference) {
    if (running_) {
        return IsOf(conference) ? ORVI_SIM_DONE : ORVI_SIM_BUSY;
    }
    if (!IsOf(conference)) {
        ForgetArrivals();
        conference_ = conference;
    }
    running_ = true;
    return ORVI_SIM_DONE;
}

void Attendance::Stop() {
    running_ = false;
}

bool Attendance::IsOf(const ConferenceId& conference) const {
    return conference == conference_;
}

void Attendance::Clear() {
    ForgetArrivals();
}

std::optional<OrviSimCheckinArrival> Attendance::Arrive(uint32_t time) {
    auto next = std::find_if(participants_.begin(), participants_.end(),
                             [](const Participant& participant) { return participant.waits; });
    if (next == participants_.end()) {
        next = std::find_if_not(participants_.begin(), participants_.end(), CountsAsPresent);
    }
    if (!running_ || next == participants_.end()) {
        return std::nullopt;
    }
    ++present_;
    next->waits = false;
    next->arrival = ++arrivals_;
    next->checkinTime = time;
    next->photo = next->ownPhoto.empty() ? DrawPortrait(next->userId) : next->ownPhoto;
    OrviSimCheckinArrival arrival{};
    arrival.length = sizeof(arrival);
    arrival.present = present_;
    arrival.entry = Entry(*next);
    return arrival;
}

std::optional<std::string> Attendance::Enter(const std::string& name, std::optional<bool> isInvited,
                                             const Payload& photo) {
    if (name.size() >= sizeof(OrviSimCheckinEntry::name)) {
        return "a name has at most " + std::to_string(sizeof(OrviSimCheckinEntry::name) - 1) + " bytes";
    }
    const auto isOfName = [&name](const Participant& participant) { return participant.name == name; };
    auto person = std::find_if(participants_.begin(), participants_.end(), isOfName);
    if (person != participants_.end() && (CountsAsPresent(*person) || person->waits)) {
        return name + " is here already";
    }
    if (person == participants_.end()) {
        if (participants_.size() >= MOST_PARTICIPANTS) {
            return "there are " + std::to_string(MOST_PARTICIPANTS) + " people already";
        }
        Participant stranger;
        stranger.userId = UserIdOf(participants_.size());
        stranger.account = AccountOf(name);
        stranger.name = name;
        stranger.invited = false;
        person = participants_.insert(participants_.end(), stranger);
    }
    person->invited = isInvited.value_or(person->invited);
    person->waits = true;
    if (!photo.empty()) {
        person->ownPhoto = photo;
    }
    return std::nullopt;
}

std::optional<std::string> Attendance::Leave(const std::string& name) {
    const auto isHere = [&name](const Participant& participant) {
        return participant.name == name && (CountsAsPresent(participant) || participant.waits);
    };
    const auto person = std::find_if(participants_.begin(), participants_.end(), isHere);
    if (person == participants_.end()) {
        return "nobody named '" + name + "' is here; persons tells who is";
    }
    present_ -= CountsAsPresent(*person) ? 1 : 0;
    person->arrival = 0;
    person->checkinTime = 0;
    person->waits = false;
    person->photo.clear();
    return std::nullopt;
}

bool Attendance::SomebodyWaits() const {
    return std::any_of(participants_.begin(), participants_.end(),
                       [](const Participant& participant) { return participant.waits; });
}

std::string Attendance::Everybody() const {
    std::string list;
    for (const Participant& participant : participants_) {
        list += "\n" + participant.name + " (" + participant.userId +
                "): " + (participant.invited ? "invited" : "guest") +
                (CountsAsPresent(participant) ? ", present"
                 : participant.waits          ? ", waits for the check-in"
                                              : "");
    }
    return list.empty() ? "nobody" : list;
}

std::vector<Attendance::Person> Attendance::People() const {
    std::vector<Person> people;
    for (const Participant& one : participants_) {
        people.push_back({one.userId, one.name, one.invited, CountsAsPresent(one), one.checkinTime});
    }
    return people;
}

bool Attendance::IsComplete() const {
    size_t invited = 0;
    for (const Participant& participant : participants_) {
        if (participant.invited && !CountsAsPresent(participant)) {
            return false;
        }
        invited += participant.invited ? 1 : 0;
    }
    return invited != 0;
}

OrviSimCheckinEntry Attendance::Entry(const Participant& participant) {
    OrviSimCheckinEntry entry{};
    SetText(entry.userId, participant.userId);
    SetText(entry.account, participant.account);
    SetText(entry.name, participant.name);
    entry.state = !CountsAsPresent(participant) ? ORVI_SIM_CHECKIN_STATE_ABSENT
                  : participant.invited         ? ORVI_SIM_CHECKIN_STATE_PRESENT
                                                : ORVI_SIM_CHECKIN_STATE_GUEST;
    entry.checkinTime = participant.checkinTime;
    entry.arrival = participant.arrival;
    entry.photoLength = static_cast<uint32_t>(participant.photo.size());
    return entry;
}

std::vector<const Attendance::Participant*> Attendance::Select(uint32_t view) const {
    std::vector<const Participant*> selected;
    for (const Participant& participant : participants_) {
        const bool present = CountsAsPresent(participant);
        bool shown = false;
        switch (view) {
            case ORVI_SIM_CHECKIN_EVERYBODY:
            case ORVI_SIM_CHECKIN_BY_NAME:
                shown = participant.invited || present;
                break;
            case ORVI_SIM_CHECKIN_PRESENT:
            case ORVI_SIM_CHECKIN_LATEST_FIRST:
                shown = present;
                break;
            case ORVI_SIM_CHECKIN_ABSENT:
                shown = participant.invited && !present;
                break;
            case ORVI_SIM_CHECKIN_GUESTS:
                shown = !participant.invited && present;
                break;
            default:
                break;
        }
        if (shown) {
            selected.push_back(&participant);
        }
    }
    if (view == ORVI_SIM_CHECKIN_LATEST_FIRST) {
        std::sort(selected.begin(), selected.end(),
                  [](const Participant* left, const Participant* right) { return left->arrival > right->arrival; });
    } else if (view == ORVI_SIM_CHECKIN_BY_NAME) {
        std::stable_sort(selected.begin(), selected.end(),
                         [](const Participant* left, const Participant* right) { return left->name < right->name; });
    }
    return selected;
}

Payload Attendance::Page(uint32_t view, uint32_t pageNum) const {
    constexpr size_t PER_PAGE = ORVI_SIM_CHECKIN_ENTRIES_PER_PAGE;
    const std::vector<const Participant*> selected = Select(view);
    const uint64_t before = pageNum == 0 ? selected.size() : uint64_t{pageNum - 1} * PER_PAGE;
    const auto first = static_cast<size_t>(std::min<uint64_t>(selected.size(), before));
    const size_t count = std::min(selected.size() - first, PER_PAGE);

    OrviSimCheckinPage page{};
    page.length = static_cast<uint32_t>(ORVI_SIM_CHECKIN_PAGE_HEAD + count * sizeof(OrviSimCheckinEntry));
    page.view = view;
    page.pageNum = pageNum;
    page.pageCount = static_cast<uint32_t>((selected.size() + PER_PAGE - 1) / PER_PAGE);
    page.entryCount = static_cast<uint32_t>(count);
    for (const Participant& participant : participants_) {
        page.invited += participant.invited ? 1 : 0;
        page.guests += !participant.invited && CountsAsPresent(participant) ? 1 : 0;
    }
    page.present = present_;
    page.running = running_ ? 1 : 0;
    page.type = type_;
    SetText(page.confId, conference_.id);
    for (size_t i = 0; i < count; ++i) {
        page.entries[i] = Entry(*selected[first + i]);
    }
    const auto* const bytes = reinterpret_cast<const uint8_t*>(&page);
    return Payload(bytes, bytes + page.length);
}

Payload Attendance::Photo(const std::string& userId) const {
    for (const Participant& participant : participants_) {
        if (participant.userId == userId) {
            return participant.photo;
        }
    }
    return {};
}

}  // namespace orvi_sim
