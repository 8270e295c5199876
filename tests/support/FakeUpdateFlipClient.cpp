#include "FakeUpdateFlipClient.hpp"

namespace korvan::test {

void FakeUpdateFlipClient::reset() {
    std::lock_guard lock(fMutex);
    fHour = -1;
    fRefuseSet = false;
    fRefuseClear = false;
    fCalls.clear();
}

void FakeUpdateFlipClient::setHour(std::int32_t hour) {
    std::lock_guard lock(fMutex);
    fHour = hour;
}

std::int32_t FakeUpdateFlipClient::hour() const {
    std::lock_guard lock(fMutex);
    return fHour;
}

void FakeUpdateFlipClient::refuseSet(bool refuse) {
    std::lock_guard lock(fMutex);
    fRefuseSet = refuse;
}

void FakeUpdateFlipClient::refuseClear(bool refuse) {
    std::lock_guard lock(fMutex);
    fRefuseClear = refuse;
}

std::vector<FlipCall> FakeUpdateFlipClient::calls() const {
    std::lock_guard lock(fMutex);
    return fCalls;
}

std::vector<std::string> FakeUpdateFlipClient::callNames() const {
    std::lock_guard lock(fMutex);
    std::vector<std::string> names;
    for (const auto& call : fCalls) names.push_back(call.fName);
    return names;
}

void FakeUpdateFlipClient::clearCalls() {
    std::lock_guard lock(fMutex);
    fCalls.clear();
}

std::int32_t FakeUpdateFlipClient::getPreferredRestartHour() {
    std::lock_guard lock(fMutex);
    fCalls.push_back({"getPreferredRestartHour", 0, std::this_thread::get_id()});
    return fHour;
}

bool FakeUpdateFlipClient::setPreferredRestartHour(std::int32_t hour) {
    std::lock_guard lock(fMutex);
    fCalls.push_back({"setPreferredRestartHour", hour, std::this_thread::get_id()});
    if (fRefuseSet) return false;
    fHour = hour;
    return true;
}

bool FakeUpdateFlipClient::clearPreferredRestartHour() {
    std::lock_guard lock(fMutex);
    fCalls.push_back({"clearPreferredRestartHour", 0, std::this_thread::get_id()});
    if (fRefuseClear) return false;
    fHour = -1;
    return true;
}

}  // namespace korvan::test
