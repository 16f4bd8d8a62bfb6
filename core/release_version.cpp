#include "core/release_version.h"

#include <algorithm>
#include <cctype>

namespace scrawlet::core {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string withoutLeadingZeros(std::string_view digits) {
    const auto first = digits.find_first_not_of('0');
    return first == std::string_view::npos ? "0" : std::string(digits.substr(first));
}

std::strong_ordering compareNumbers(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return a.size() <=> b.size();
    }
    return a.compare(b) <=> 0;
}

// Runs of digits compare as numbers, other runs by their characters; a digit run sorts before
// a word, so "rc1" < "rc1a" and "2" < "a".
std::strong_ordering compareLabelPiece(std::string_view a, std::string_view b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        const bool digitA = isDigit(a[i]);
        const bool digitB = isDigit(b[j]);
        if (digitA != digitB) {
            return digitA ? std::strong_ordering::less : std::strong_ordering::greater;
        }
        std::size_t endA = i;
        std::size_t endB = j;
        while (endA < a.size() && isDigit(a[endA]) == digitA) {
            ++endA;
        }
        while (endB < b.size() && isDigit(b[endB]) == digitB) {
            ++endB;
        }
        const std::string_view runA = a.substr(i, endA - i);
        const std::string_view runB = b.substr(j, endB - j);
        const auto order =
            digitA ? compareNumbers(withoutLeadingZeros(runA), withoutLeadingZeros(runB))
                   : runA.compare(runB) <=> 0;
        if (order != 0) {
            return order;
        }
        i = endA;
        j = endB;
    }
    return (a.size() - i) <=> (b.size() - j);
}

std::vector<std::string_view> labelPieces(std::string_view label) {
    std::vector<std::string_view> pieces;
    while (!label.empty()) {
        const auto dot = label.find('.');
        pieces.push_back(label.substr(0, dot));
        label = dot == std::string_view::npos ? std::string_view{} : label.substr(dot + 1);
    }
    return pieces;
}

}  // namespace

std::optional<ReleaseVersion> ReleaseVersion::parse(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
        text.remove_suffix(1);
    }
    if (!text.empty() && (text.front() == 'v' || text.front() == 'V')) {
        text.remove_prefix(1);
    }
    if (const auto plus = text.find('+'); plus != std::string_view::npos) {
        text = text.substr(0, plus);
    }
    ReleaseVersion version;
    std::size_t at = 0;
    while (true) {
        const std::size_t start = at;
        while (at < text.size() && isDigit(text[at])) {
            ++at;
        }
        if (at == start) {
            return std::nullopt;
        }
        version.components.push_back(withoutLeadingZeros(text.substr(start, at - start)));
        if (at + 1 < text.size() && text[at] == '.' && isDigit(text[at + 1])) {
            ++at;
            continue;
        }
        break;
    }
    std::string_view rest = text.substr(at);
    if (!rest.empty() && (rest.front() == '-' || rest.front() == '.' || rest.front() == '_')) {
        rest.remove_prefix(1);
    }
    if (!text.substr(at).empty() && rest.empty()) {
        return std::nullopt;
    }
    const bool printable = std::all_of(rest.begin(), rest.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-' || c == '_';
    });
    if (!printable) {
        return std::nullopt;
    }
    std::string label(rest);
    std::transform(label.begin(), label.end(), label.begin(), [](char c) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    });
    version.preRelease = std::move(label);
    // Trailing zero components say nothing: "1.2" and "1.2.0" are one release.
    while (version.components.size() > 1 && version.components.back() == "0") {
        version.components.pop_back();
    }
    return version;
}

std::strong_ordering compare(const ReleaseVersion& a, const ReleaseVersion& b) {
    const std::size_t count = std::max(a.components.size(), b.components.size());
    constexpr std::string_view zero = "0";
    for (std::size_t i = 0; i < count; ++i) {
        const std::string_view x =
            i < a.components.size() ? std::string_view(a.components[i]) : zero;
        const std::string_view y =
            i < b.components.size() ? std::string_view(b.components[i]) : zero;
        if (const auto order = compareNumbers(x, y); order != 0) {
            return order;
        }
    }
    if (a.preRelease.empty() || b.preRelease.empty()) {
        // The release itself follows every pre-release of it.
        return a.preRelease.empty() <=> b.preRelease.empty();
    }
    const auto piecesA = labelPieces(a.preRelease);
    const auto piecesB = labelPieces(b.preRelease);
    for (std::size_t i = 0; i < piecesA.size() && i < piecesB.size(); ++i) {
        if (const auto order = compareLabelPiece(piecesA[i], piecesB[i]); order != 0) {
            return order;
        }
    }
    return piecesA.size() <=> piecesB.size();
}

std::optional<std::strong_ordering> compareVersions(std::string_view a, std::string_view b) {
    const auto x = ReleaseVersion::parse(a);
    const auto y = ReleaseVersion::parse(b);
    if (!x || !y) {
        return std::nullopt;
    }
    return compare(*x, *y);
}

}  // namespace scrawlet::core
