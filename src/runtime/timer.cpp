// WTimer: a timer id taken from the engine on first use, and the engine calls made with it.
#include "timer_engine.h"

#include <tlvutl/timers.h>

WTimer::~WTimer() {
    if (m_timerId == 0 || !tlv::runtime::TimerEngineAlive())
        return;
    try {
        WTimerEngine& engine = WTimerEngine::GetInstance();
        engine.KillTimer(m_timerId);
        engine.RemoveAllListeners(tlv::runtime::TimerKey(m_timerId).c_str());
    } catch (...) {
        // Only allocation can fail here, and a destructor has no one to tell.
    }
}

UINT WTimer::_TimerID() {
    if (m_timerId == 0)
        m_timerId = WTimerEngine::GetInstance().NewTimerID();
    return m_timerId;
}

void WTimer::Subscribe(const Listener& listener) {
    const UINT id = _TimerID();
    WTimerEngine::GetInstance().RegisterListener(tlv::runtime::TimerKey(id).c_str(), listener);
}

void WTimer::UnSubscribe(const Listener& listener) {
    const UINT id = _TimerID();
    WTimerEngine::GetInstance().UnregisterListener(tlv::runtime::TimerKey(id).c_str(), listener);
}

void WTimer::Start(UINT intervalMs) {
    try {
        const UINT id = _TimerID();
        WTimerEngine::GetInstance().SetTimer(id, intervalMs);
    } catch (...) {
        // An exhausted id space, or no memory: the timer does not run, as documented.
    }
}

void WTimer::Stop() {
    try {
        const UINT id = _TimerID();
        WTimerEngine::GetInstance().KillTimer(id);
    } catch (...) {
    }
}

void WTimer::GlobalTimerShutdownTime() {
    WTimerEngine::GetInstance().DestroyLoop();
}
