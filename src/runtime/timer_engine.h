// The timer engine's private pieces: the broadcast key of an id, the id search, and hooks
// that let tests reach the corners of the id space.
#ifndef TLVUTL_RUNTIME_TIMER_ENGINE_H
#define TLVUTL_RUNTIME_TIMER_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace tlv::runtime {

// The id as "%d" formats it: ids above 0x7FFFFFFF read as negative numbers.
std::wstring TimerKey(std::uint32_t id);

// Hands out the next id whose key has no listeners (count answers that) and advances
// counter past it. The search moves forward from counter; at 0xFFFFFFFF it wraps to 1 once,
// raising the counter before testing it, so 1 itself is passed over on that pass; reaching
// 0xFFFFFFFF a second time throws WTimerIdsExhausted. After handing out, the counter wraps
// to 1 instead of reaching 0xFFFFFFFF (or 0). last stands for 0xFFFFFFFF so that tests can
// run the same search over a small id space.
std::uint32_t SearchTimerId(std::uint32_t& counter,
                            const std::function<std::size_t(const std::wstring&)>& count,
                            std::uint32_t last = 0xFFFFFFFFu);

// False once the engine has been destroyed at process exit: timers destroyed after it
// (static ones) must not reach it.
bool TimerEngineAlive();

void SetTimerIdCounterForTesting(std::uint32_t next);
std::uint32_t GetTimerIdCounterForTesting();
// Replaces the engine's listener count in the id search (null restores it), so a test can
// make every id look taken.
void SetTimerKeyCountForTesting(std::size_t (*count)(const std::wstring& key));

} // namespace tlv::runtime

#endif
