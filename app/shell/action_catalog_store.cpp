#include "app/shell/action_catalog_store.h"

#include <QFile>
#include <filesystem>

namespace scrawlet::shell {
namespace {

std::optional<core::ActionCatalog> decodeFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QByteArray bytes = file.readAll();
    auto catalog = core::ActionCatalog::decode(std::string_view(bytes.constData(), bytes.size()));
    return catalog ? std::optional(std::move(*catalog)) : std::nullopt;
}

}  // namespace

std::optional<core::ActionCatalog> ActionCatalogStore::load() {
    if (auto compiled = decodeFile(QStringLiteral(":/scrawlet/actions.json"))) {
        return compiled;
    }
    // This file is app/shell/action_catalog_store.cpp: three folders below the root.
    const auto root = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
    return decodeFile(QString::fromStdString((root / "resources" / "actions.json").string()));
}

}  // namespace scrawlet::shell
