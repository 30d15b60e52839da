#include "base/Stores.h"

#include "platform/Ascii.h"

#include <algorithm>
#include <iterator>

namespace
{

std::string Join(std::string_view CStoreName::*text, std::string_view ending)
{
    std::string joined;
    for (const CStoreName& store : kStores) {
        const bool isLast = &store == std::end(kStores) - 1;
        joined.append(joined.empty() ? "" : isLast ? " or " : ", ");
        joined.append(store.*text).append(ending);
    }
    return joined;
}

} // namespace

const CStoreName* FindStore(std::string_view text)
{
    const auto* const found = std::ranges::find_if(kStores, [text](const CStoreName& store) {
        return EqualIgnoringCase(store.type, text) || EqualIgnoringCase(store.name, text);
    });
    return found == std::end(kStores) ? nullptr : found;
}

std::string StoreTypes(std::string_view ending)
{
    return Join(&CStoreName::type, ending);
}

std::string StoreNames()
{
    return Join(&CStoreName::name, {});
}
