// The voice assistant as the people in the room have it: for the control channel. Any thread.
#ifndef ORVI_SIM_FEATURES_ASSISTANT_H
#define ORVI_SIM_FEATURES_ASSISTANT_H

#include <chrono>
#include <string>

namespace orvi_sim {

class Service;

// Somebody says something. Returns what becomes of it, or the reason why it cannot be said.
bool SayToAssistant(Service& service, const std::string& text, std::string& outcome);

void SetAssistantMicrophone(Service& service, bool on);

// How long the assistant waits for words and for answers; how long it takes to speak a character.
void SetAssistantPatience(Service& service, std::chrono::milliseconds patience);
void SetAssistantSpeech(Service& service, std::chrono::milliseconds timePerCharacter);

std::string DescribeAssistant(Service& service);  // NAME=VALUE each, then the hot words of each application

}  // namespace orvi_sim

#endif
