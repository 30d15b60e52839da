#pragma once

#include "core/ContactPlg.h"
#include "platform/List.h"

#include <cstdint>
#include <memory>
#include <span>

class CMailbox;

inline namespace contactmgr_internal
{

// How one of the four stores is made and released.
struct StoreFactory
{
    std::uint32_t mask; // its bit in the plug-in mask
    bool isPermanent;   // new contacts go there
    // A new store for an open mailbox, or null.
    CContactPlg* (*create)(CMailbox& mailbox);
    // Destroys what `create` gave, once all that came from it has ended.
    void (*release)(CContactPlg* plugin);
};

// The mask of a mailbox that has none of its own: all stores but the mailboxes of the domain.
inline constexpr std::uint32_t kDefaultStoreMask = 11;

// The four stores in the order in which a manager makes and asks them.
std::span<const StoreFactory> StoreFactories();

// The stores of one manager, in that order. Releases each as its factory wants it. A resource.
using CContactPlgOwner = std::unique_ptr<CContactPlg, void (*)(CContactPlg*)>;
class CContactPlgList : public CList<CContactPlgOwner>
{};

} // namespace contactmgr_internal
