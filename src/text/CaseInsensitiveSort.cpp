#include <TesCore/TESCoreUtil.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace TESCoreUtil {

QStringList SortCaseInsensitive(const QStringList &list)
{
    std::vector<std::pair<QString, QStringList::size_type>> keys; // with their positions in the list
    keys.reserve(static_cast<size_t>(list.size()));
    for (const QString &text : list)
        keys.emplace_back(text.toLower(), keys.size());
    std::sort(keys.begin(), keys.end());

    QStringList result;
    result.reserve(list.size());
    for (auto key = keys.begin(); key != keys.end(); ++key) {
        const auto next = key + 1;
        if (next == keys.end() || next->first != key->first)
            result.append(list.at(key->second));
    }
    return result;
}

} // namespace TESCoreUtil
