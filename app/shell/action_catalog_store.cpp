#include "app/shell/action_catalog_store.h"

#include <QFile>
#include <filesystem>

namespace scrawlet::shell {

std::optional<core::ActionCatalog> ActionCatalogStore::load() {
    // This file is app/shell/action_catalog_store.cpp: three folders below the root.
    const auto root = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
    return loadFirst({kCompiledPath, (root / "resources" / "actions.json").string()});
}

std::optional<core::ActionCatalog> ActionCatalogStore::loadFirst(
    const std::vector<std::string>& paths) {
    for (const auto& path : paths) {
        QFile file(QString::fromStdString(path));
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QByteArray bytes = file.readAll();
        if (auto catalog = core::ActionCatalog::decode(
                std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())))) {
            return std::move(*catalog);
        }
    }
    return std::nullopt;
}

}  // namespace scrawlet::shell
