// Reads a JSON Lines file another process may still be writing.
#pragma once

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace scrawlet::testing {

// Every complete record; a line still being written does not parse and is left out.
inline std::vector<nlohmann::json> readJsonLines(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::vector<nlohmann::json> records;
    for (std::string line; std::getline(in, line);) {
        auto record = nlohmann::json::parse(line, nullptr, false);
        if (!record.is_discarded()) {
            records.push_back(std::move(record));
        }
    }
    return records;
}

}  // namespace scrawlet::testing
