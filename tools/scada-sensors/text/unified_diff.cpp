#include "text/unified_diff.h"

#include "text/text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

using Lines = std::vector<std::string_view>;

// The search takes at most 5 MB and a tenth of a second.
constexpr int MOST_EDITS = 1000;
constexpr std::size_t MOST_LINES = 20000;

constexpr std::size_t CONTEXT = 3;

// Each line includes its line break, which the last one may lack.
Lines linesOf(std::string_view text) {
    Lines lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

/// One line: ' ' when both texts have it, '-' when only the former has it, '+' when only the latter has it.
struct Edit {
    char mark;
    std::string_view line;
};
using Edits = std::vector<Edit>;

template <typename List> const auto& at(const List& list, int index) {
    return list[static_cast<std::size_t>(index)];
}

/// The shortest way from one list of lines to another, found as in E. W. Myers, "An O(ND) Difference Algorithm and Its
/// Variations" (1986). Diagonal k has the places (x, y) with x - y = k, where x lines of the former and y lines of the
/// latter list are done.
class ShortestWay {
public:
    ShortestWay(const Lines& former, const Lines& latter) : from(former), to(latter) {}

    /// Returns whether there is a way within the limits.
    bool find() {
        if (from.size() + to.size() > MOST_LINES)
            return false;
        numberLines();
        std::vector<int> furthest(2 * MOST_EDITS + 3, 0);
        int* const reached = &furthest[MOST_EDITS + 1];
        for (int edits = 0; edits <= MOST_EDITS; ++edits) {
            for (int diagonal = -edits; diagonal <= edits; diagonal += 2) {
                if (advance(reached, diagonal, edits))
                    return true;
            }
            trace.emplace_back(reached - edits, reached + edits + 1);
        }
        return false;
    }

    /// Returns the way. REQUIRES: find() has returned true.
    Edits edits() const {
        Edits way;
        int x = static_cast<int>(from.size());
        int y = static_cast<int>(to.size());
        for (auto before = trace.rbegin(); before != trace.rend(); ++before) {
            const int edits = static_cast<int>(trace.rend() - before);
            const int* const reached = before->data() + edits - 1;
            const bool adds = isAddition(reached, x - y, edits);
            const int formerX = adds ? reached[x - y + 1] : reached[x - y - 1];
            const int formerY = formerX - (x - y) + (adds ? -1 : 1);
            appendCommon(x, x - (adds ? formerX : formerX + 1), &way);
            way.push_back(adds ? Edit{'+', at(to, formerY)} : Edit{'-', at(from, formerX)});
            x = formerX;
            y = formerY;
        }
        appendCommon(x, x, &way);
        std::reverse(way.begin(), way.end());
        return way;
    }

private:
    // Equal lines get the same number.
    void numberLines() {
        std::unordered_map<std::string_view, int> numbers;
        for (const auto& [lines, numbered] : {std::pair(&from, &fromNumbers), std::pair(&to, &toNumbers)}) {
            for (const std::string_view line : *lines)
                numbered->push_back(numbers.emplace(line, static_cast<int>(numbers.size())).first->second);
        }
    }

    // Whether the last edit before a diagonal adds a line. It does if the diagonal above has come further.
    static bool isAddition(const int* reached, int diagonal, int edits) {
        return diagonal == -edits || (diagonal != edits && reached[diagonal - 1] < reached[diagonal + 1]);
    }

    // Goes as far as possible on a diagonal. Returns whether that is the end of both lists.
    bool advance(int* reached, int diagonal, int edits) const {
        const int width = static_cast<int>(fromNumbers.size());
        const int height = static_cast<int>(toNumbers.size());
        int x = isAddition(reached, diagonal, edits) ? reached[diagonal + 1] : reached[diagonal - 1] + 1;
        while (x < width && x - diagonal < height && at(fromNumbers, x) == at(toNumbers, x - diagonal))
            ++x;
        reached[diagonal] = x;
        return x >= width && x - diagonal >= height;
    }

    // Appends the lines that both lists share, backwards from the one before `end`.
    void appendCommon(int end, int count, Edits* way) const {
        for (int x = end - 1; x >= end - count; --x)
            way->push_back({' ', at(from, x)});
    }

    const Lines& from;
    const Lines& to;
    std::vector<int> fromNumbers;
    std::vector<int> toNumbers;
    std::vector<std::vector<int>> trace; ///< how far each diagonal reaches after each number of edits
};

void appendAll(char mark, const Lines& lines, Edits* edits) {
    for (const std::string_view line : lines)
        edits->push_back({mark, line});
}

Edits replacedBlock(const Lines& from, const Lines& to) {
    Edits edits;
    appendAll('-', from, &edits);
    appendAll('+', to, &edits);
    return edits;
}

// Cuts off the lines with which both texts begin.
Lines cutStart(Lines* from, Lines* to) {
    const auto differing = std::mismatch(from->begin(), from->end(), to->begin(), to->end());
    Lines start(from->begin(), differing.first);
    from->erase(from->begin(), differing.first);
    to->erase(to->begin(), differing.second);
    return start;
}

Lines cutEnd(Lines* from, Lines* to) {
    const auto differing = std::mismatch(from->rbegin(), from->rend(), to->rbegin(), to->rend());
    Lines end(differing.first.base(), from->end());
    from->erase(differing.first.base(), from->end());
    to->erase(differing.second.base(), to->end());
    return end;
}

Edits editsBetween(Lines from, Lines to) {
    const Lines start = cutStart(&from, &to);
    const Lines end = cutEnd(&from, &to);
    ShortestWay way(from, to);
    const Edits middle = way.find() ? way.edits() : replacedBlock(from, to);
    Edits edits;
    appendAll(' ', start, &edits);
    edits.insert(edits.end(), middle.begin(), middle.end());
    appendAll(' ', end, &edits);
    return edits;
}

std::string textOf(const Edit& edit) {
    std::string text = edit.mark + std::string(edit.line);
    if (!endsWith(text, "\n"))
        text += "\n\\ No newline at end of file\n";
    return text;
}

/// Writes the hunks and counts the lines of both texts at the same time.
class Hunks {
public:
    explicit Hunks(const Edits& all) : edits(all) {}

    std::string text() {
        std::string hunks;
        for (std::size_t change = nextChange(0); change < edits.size();) {
            const std::size_t begin = change < CONTEXT ? 0 : change - CONTEXT;
            std::size_t end = change;
            // A nearby change belongs to the same hunk.
            for (; change < edits.size() && change <= end + 2 * CONTEXT; change = nextChange(end))
                end = change + 1;
            hunks += hunk(begin, std::min(end + CONTEXT, edits.size()));
        }
        return hunks;
    }

private:
    std::size_t nextChange(std::size_t at) const {
        while (at < edits.size() && edits[at].mark == ' ')
            ++at;
        return at;
    }

    std::string hunk(std::size_t begin, std::size_t end) {
        count(begin);
        const std::size_t formerStart = formerLines;
        const std::size_t latterStart = latterLines;
        count(end);
        std::string text =
            "@@ -" + rangeOf(formerStart, formerLines) + " +" + rangeOf(latterStart, latterLines) + " @@\n";
        for (; begin < end; ++begin)
            text += textOf(edits[begin]);
        return text;
    }

    void count(std::size_t end) {
        for (; counted < end; ++counted) {
            formerLines += edits[counted].mark == '+' ? 0U : 1U;
            latterLines += edits[counted].mark == '-' ? 0U : 1U;
        }
    }

    // An empty range is named by the line before it.
    static std::string rangeOf(std::size_t start, std::size_t end) {
        return std::to_string(start == end ? start : start + 1) + "," + std::to_string(end - start);
    }

    const Edits& edits;
    std::size_t counted = 0;
    std::size_t formerLines = 0;
    std::size_t latterLines = 0;
};

} // namespace

std::string unifiedDiff(const std::string& from, const std::string& to) {
    return Hunks(editsBetween(linesOf(from), linesOf(to))).text();
}

} // namespace Kelvra::SCADA::Tool
