// Loading a sheet: its head, then its rows found by a scan of the raw text, or the whole
// sheet parsed when the scan cannot be sure.
#include "spreadsheet/WorkbookImpl.h"

#include "spreadsheet/TextMetrics.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
#define LM_AVX2_DISPATCH 1
#endif
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace spreadsheet {

namespace {

Status readHead(SheetData& sd, pugi::xml_node root) {
    SheetData* data = &sd;
    auto fmt = childNamed(root, "sheetFormatPr");
    double def = fmt.attribute("defaultColWidth").as_double(0);
    if (!(def > 0 && def <= 255)) {
        double base = fmt.attribute("baseColWidth").as_double(8);
        if (!(base >= 0 && base <= 255))
            base = 8;
        // base characters plus padding, rounded up to a multiple of 8 pixels
        int px = int(base) * 7 + kCellPaddingPixels;
        px = (px + 7) / 8 * 8;
        def = columnWidthFromPixels(px);
    }
    data->defaultWidth = def;
    for (auto c = childNamed(root, "cols").first_child(); c; c = c.next_sibling()) {
        if (localName(c.name()) != "col")
            continue;
        int mn = intAttr(c.attribute("min"), 0), mx = intAttr(c.attribute("max"), 0);
        if (mn < 1 || mx < mn || mx > kMaxColumns)
            return Status::BadReference;
        double w = c.attribute("width").as_double(def);
        if (!(w >= 0 && w <= 255))
            w = def;
        data->cols.push_back({mn, mx, w});
    }

    auto view = childNamed(childNamed(root, "sheetViews"), "sheetView");
    if (view) {
        std::string activePane = childNamed(view, "pane").attribute("activePane").value();
        pugi::xml_node chosen;
        for (auto s = view.first_child(); s; s = s.next_sibling()) {
            if (localName(s.name()) != "selection")
                continue;
            std::string pane = s.attribute("pane").value();
            if (!chosen || pane == activePane)
                chosen = s;
        }
        if (chosen) {
            CellRef ac;
            if (parseCellRef(std::string_view(chosen.attribute("activeCell").value()), ac))
                data->activeCell = ac;
            std::wstring sq = fromUtf8(chosen.attribute("sqref").value());
            data->sqref =
                sq.empty() ? cellAddress(data->activeCell.row, data->activeCell.col, false) : sq;
        }
    }

    return Status::Ok;
}

// One pass over the text after the opening tag of <sheetData>: the row start tags up to the
// closing tag, whether a comment, CDATA or processing instruction stands before it, and where
// it is. Sixteen places are tried at once for a '<' followed by what could start one of them,
// which is rare in sheet XML: a search that stops at each '<' would stop millions of times.
// The number a row's start tag (up to its '>') gives in its r attribute: 0 when it gives
// none, -1 when what it gives is no row number.
int rowNumberOf(std::string_view tag) {
    std::size_t r = tag.find("r=");
    while (r != std::string_view::npos && tag[r - 1] != ' ' && tag[r - 1] != '\t' &&
           tag[r - 1] != '\n' && tag[r - 1] != '\r')
        r = tag.find("r=", r + 1);
    if (r != std::string_view::npos) {
        --r; // at the blank before the name
    }
    if (r == std::string_view::npos || r + 4 >= tag.size())
        return 0;
    std::size_t q = r + 4, qe = tag.find(tag[r + 3], q);
    long v = 0;
    std::size_t digits = 0;
    bool ok = qe != std::string_view::npos && qe > q;
    for (std::size_t i = q; ok && i < qe; ++i) {
        if (tag[i] < '0' || tag[i] > '9' || ++digits > 8)
            ok = false;
        else
            v = v * 10 + (tag[i] - '0');
    }
    return !ok || v < 1 || v > kMaxRows ? -1 : int(v);
}

// A row start tag as the scan met it. Its '>' and number are taken while the bytes are in
// the cache: read later, each of a hundred thousand rows is a miss.
struct RowTag {
    std::size_t start;                   // offset from the start of the text given
    std::size_t end = std::string::npos; // its '>', when within the first bytes looked at
    int number = 0;                      // as rowNumberOf gives it, when end is known
};

#ifdef LM_AVX2_DISPATCH
// The candidates of scanSheetData 32 bytes a step, on processors that have AVX2. Gives true
// when `visit` ended the scan; `p` ends where the steps stopped.
template <class Visit>
__attribute__((target("avx2"))) bool candidatesAvx2(const char*& p, const char* end, char row1,
                                                    char closing2, Visit& visit) {
    const __m256i tag = _mm256_set1_epi8('<'), bang = _mm256_set1_epi8('!'),
                  question = _mm256_set1_epi8('?'), row = _mm256_set1_epi8(row1),
                  slash = _mm256_set1_epi8('/'), third = _mm256_set1_epi8(closing2);
    for (; end - p >= 34; p += 32) {
        __m256i here = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        __m256i next = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 1));
        __m256i after = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 2));
        __m256i wanted = _mm256_or_si256(
            _mm256_or_si256(_mm256_cmpeq_epi8(next, bang), _mm256_cmpeq_epi8(next, question)),
            _mm256_or_si256(
                _mm256_cmpeq_epi8(next, row),
                _mm256_and_si256(_mm256_cmpeq_epi8(next, slash), _mm256_cmpeq_epi8(after, third))));
        unsigned mask =
            unsigned(_mm256_movemask_epi8(_mm256_and_si256(_mm256_cmpeq_epi8(here, tag), wanted)));
        for (; mask; mask &= mask - 1)
            if (visit(p + __builtin_ctz(mask)))
                return true;
    }
    return false;
}

const bool kHaveAvx2 = __builtin_cpu_supports("avx2");
#endif

struct SheetDataScan {
    std::vector<RowTag> rowStarts;
    std::size_t closingAt = std::string::npos;
    bool markup = false; // "<!" or "<?" before the closing tag
};

SheetDataScan scanSheetData(std::string_view text, std::string_view rowTag,
                            std::string_view closing) {
    SheetDataScan scan;
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    // A candidate: '<' and then '!', '?', the row tag's next byte, or "/" and the closing
    // tag's third byte. Answers whether the scan is over.
    auto visit = [&](const char* at) {
        if (std::size_t(end - at) >= closing.size() &&
            std::memcmp(at, closing.data(), closing.size()) == 0) {
            scan.closingAt = std::size_t(at - begin);
            return true;
        }
        if (at + 1 < end && (at[1] == '!' || at[1] == '?')) {
            scan.markup = true;
            return true;
        }
        if (std::size_t(end - at) > rowTag.size() &&
            std::memcmp(at, rowTag.data(), rowTag.size()) == 0) {
            char next = at[rowTag.size()];
            if (next == ' ' || next == '>' || next == '/' || next == '\t' || next == '\n' ||
                next == '\r') {
                RowTag row{std::size_t(at - begin)};
                const char* limit = at + std::min<std::ptrdiff_t>(end - at, 256);
                const char* gt = at;
                while (gt < limit && *gt != '>')
                    ++gt;
                if (gt < limit) {
                    row.end = std::size_t(gt - begin);
                    row.number = rowNumberOf(std::string_view(at, std::size_t(gt - at)));
                }
                scan.rowStarts.push_back(row);
            }
        }
        return false;
    };
    const char* p = begin;
#ifdef LM_AVX2_DISPATCH
    if (kHaveAvx2 && candidatesAvx2(p, end, rowTag[1], closing[2], visit))
        return scan;
#endif
#ifdef __SSE2__
    const __m128i tag = _mm_set1_epi8('<'), bang = _mm_set1_epi8('!'),
                  question = _mm_set1_epi8('?'), row = _mm_set1_epi8(rowTag[1]),
                  slash = _mm_set1_epi8('/'), closing2 = _mm_set1_epi8(closing[2]);
    for (; end - p >= 18; p += 16) {
        __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 1));
        __m128i after = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2));
        __m128i wanted =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(next, bang), _mm_cmpeq_epi8(next, question)),
                         _mm_or_si128(_mm_cmpeq_epi8(next, row),
                                      _mm_and_si128(_mm_cmpeq_epi8(next, slash),
                                                    _mm_cmpeq_epi8(after, closing2))));
        unsigned mask =
            unsigned(_mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(here, tag), wanted)));
        for (; mask; mask &= mask - 1)
            if (visit(p + __builtin_ctz(mask)))
                return scan;
    }
#endif
    for (; p < end; ++p)
        if (*p == '<' && p + 1 < end &&
            (p[1] == '!' || p[1] == '?' || p[1] == rowTag[1] ||
             (p[1] == '/' && p + 2 < end && p[2] == closing[2])) &&
            visit(p))
            return scan;
    return scan;
}

// Offsets of the rows inside <sheetData> by a scan of the raw text. Gives false when the
// text holds anything the scan cannot be sure of (comments, CDATA, processing
// instructions, rows out of order): the sheet is then parsed as a whole.
bool scanRows(SheetData& d, Status& status, const Limits& limits) {
    const std::string& b = d.buffer;
    std::size_t name = b.find("sheetData");
    while (name != std::string::npos && !(name > 0 && (b[name - 1] == '<' || b[name - 1] == ':')))
        name = b.find("sheetData", name + 1);
    if (name == std::string::npos)
        return false;
    std::size_t open = b.rfind('<', name);
    std::string prefix = b.substr(open + 1, name - open - 1); // "" or "x:"
    std::size_t tagEnd = b.find('>', name);
    if (tagEnd == std::string::npos || b[tagEnd - 1] == '/')
        return false;
    std::string closing("</");
    closing += prefix;
    closing += "sheetData>";
    std::string rowTag(1, '<');
    rowTag += prefix;
    rowTag += "row";
    SheetDataScan scan = scanSheetData(std::string_view(b).substr(tagEnd + 1), rowTag, closing);
    // Comments, CDATA and processing instructions could hide or fake a row start: those
    // sheets take the full parse, and so does a sheet without the closing tag.
    if (scan.markup || scan.closingAt == std::string::npos)
        return false;
    std::size_t contentEnd = tagEnd + 1 + scan.closingAt;
    std::string_view content(b.data() + tagEnd + 1, scan.closingAt);
    std::vector<RowTag>& starts = scan.rowStarts;
    while (!starts.empty() && starts.back().start + rowTag.size() >= content.size())
        starts.pop_back();
    std::string head;
    head.reserve(tagEnd + 1 + (b.size() - contentEnd));
    head.append(b, 0, tagEnd + 1);
    head.append(b, contentEnd, std::string::npos);
    if (head.find("<!--") != std::string::npos || head.find("<![CDATA[") != std::string::npos)
        return false;

    std::size_t base = tagEnd + 1;
    int prevRow = 0;
    d.lightRows.reserve(starts.size());
    for (std::size_t k = 0; k < starts.size(); ++k) {
        std::size_t at = starts[k].start;
        std::size_t stop = k + 1 < starts.size() ? starts[k + 1].start : content.size();
        // The end of the start tag: found by the scan, or else looked for here.
        std::size_t gt = starts[k].end;
        int number = starts[k].number;
        if (gt == std::string::npos) {
            gt = at;
            while (gt < stop && content[gt] != '>')
                ++gt;
            if (gt < stop)
                number = rowNumberOf(content.substr(at, gt - at));
        }
        int rowNum = prevRow + 1;
        if (gt < stop) {
            if (number < 0) {
                status = Status::BadReference;
                return true;
            }
            if (number > 0)
                rowNum = number;
        }
        if (rowNum <= prevRow)
            return false;
        prevRow = rowNum;
        d.lightRows.push_back({rowNum, base + at, base + stop});
    }
    d.headBuffer = std::move(head);
    status = parseXml(d.headBuffer, d.headDoc, limits);
    if (status == Status::Ok)
        status = readHead(d, d.headDoc.document_element());
    d.light = true;
    return true;
}

} // namespace

Status WorkbookImpl::loadSheet(Workbook& book, Worksheet& sheet, bool full) {
    WorkbookImpl& m = *book.m_impl;
    auto data = std::make_unique<SheetData>();
    Status st = Status::Ok;
    if (sheet.m_data && sheet.m_data->light) {
        data->buffer = std::move(sheet.m_data->buffer); // still untouched by any parse
        sheet.m_data.reset();
    } else {
        st = m.pkg.read(sheet.m_partName, data->buffer);
        if (st != Status::Ok)
            return st;
    }
    if (!full) {
        auto light = std::make_unique<SheetData>();
        light->buffer = std::move(data->buffer);
        if (scanRows(*light, st, m.limits)) {
            if (st == Status::Ok)
                sheet.m_data = std::move(light);
            return st;
        }
        data->buffer = std::move(light->buffer);
        st = Status::Ok;
    }
    st = parseXml(data->buffer, data->doc, m.limits);
    if (st != Status::Ok)
        return st;
    data->root = data->doc.document_element();

    st = readHead(*data, data->root);
    if (st != Status::Ok)
        return st;

    data->sheetData = childNamed(data->root, "sheetData");
    st = Status::Ok;
    if (data->sheetData) {
        data->cells.reserve(data->buffer.size() / 40);
        int prevRow = 0;
        bool sorted = true;
        for (auto r = data->sheetData.first_child(); r; r = r.next_sibling()) {
            if (localName(r.name()) != "row")
                continue;
            int rowNum = prevRow + 1;
            if (auto ra = r.attribute("r")) {
                rowNum = intAttr(ra, 0);
            }
            if (rowNum < 1 || rowNum > kMaxRows)
                return Status::BadReference;
            if (rowNum <= prevRow)
                sorted = false;
            prevRow = rowNum;
            data->rows.emplace_back(rowNum, r);
            int prevCol = 0;
            for (auto c = r.first_child(); c; c = c.next_sibling()) {
                if (localName(c.name()) != "c")
                    continue;
                int col = prevCol + 1;
                if (auto ra = c.attribute("r")) {
                    CellRef ref;
                    if (!parseCellRef(std::string_view(ra.value()), ref) || ref.row != rowNum)
                        return Status::BadReference;
                    col = ref.col;
                }
                if (col > kMaxColumns)
                    return Status::BadReference;
                if (col <= prevCol)
                    sorted = false;
                prevCol = col;
                data->cells.push_back({rowNum, col, c});
            }
        }
        if (!sorted) {
            auto less = [](const CellEntry& a, const CellEntry& b) {
                return a.row < b.row || (a.row == b.row && a.col < b.col);
            };
            std::stable_sort(data->cells.begin(), data->cells.end(), less);
            std::stable_sort(data->rows.begin(), data->rows.end(),
                             [](const auto& a, const auto& b) { return a.first < b.first; });
        }
    }
    sheet.m_data = std::move(data);
    return st;
}

} // namespace spreadsheet
