#include "core/StoreFactories.h"

#include "mailheader/MailHeaderPlugin.h"
#include "pab/PABPlugin.h"
#include "trellisv7/TrellisV7Plugin.h"
#include "userstore/UserPlugin.h"

inline namespace contactmgr_internal
{

std::span<const StoreFactory> StoreFactories()
{
    static constexpr StoreFactory kFactories[] = {
        {1, true, CPABPlugin::Create, CPABPlugin::Release},
        {2, false, CTrellisV7Plugin::Create, CTrellisV7Plugin::Release},
        {4, false, CUserPlugin::Create, CUserPlugin::Release},
        {8, false, CMailHeaderPlugin::Create, CMailHeaderPlugin::Release},
    };
    return kFactories;
}

} // namespace contactmgr_internal
