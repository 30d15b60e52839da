#include "base/Interrupt.h"

#include <array>

#include <csignal>

namespace
{

constexpr std::array<int, 2> kSignals = {SIGINT, SIGTERM};

volatile std::sig_atomic_t g_hasCome = 0;
std::array<struct sigaction, kSignals.size()> g_before;

void Remember(int)
{
    g_hasCome = 1;
}

} // namespace

// A signal that was ignored from the start, as that of a job in the background, stays so.
CInterrupt::CInterrupt()
{
    g_hasCome = 0;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        struct sigaction action = {};
        action.sa_handler = Remember;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(kSignals[i], nullptr, &g_before[i]);
        if (g_before[i].sa_handler != SIG_IGN) {
            sigaction(kSignals[i], &action, nullptr);
        }
    }
}

CInterrupt::~CInterrupt()
{
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &g_before[i], nullptr);
    }
}

bool CInterrupt::HasCome()
{
    return g_hasCome != 0;
}
