#include "spreadsheet/Package.h"

#include "spreadsheet/WorkbookFile.h"

#include <isa-l/igzip_lib.h>
#include <sys/mman.h>
#include <zip.h>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
#define LM_AVX2_DISPATCH 1
#endif
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace spreadsheet {

namespace {

std::string lowerAscii(std::string s) {
    for (char& c : s)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return s;
}

// An upper bound of the nodes the parser makes: every tag start that is no end tag, and
// every '=' (attributes). Text of simple elements is held in the element itself. This runs
// over every byte of every part, so it compares 16 bytes at a time where it can.
#ifdef LM_AVX2_DISPATCH
// The same count 32 bytes a step, on processors that have AVX2; `i` ends where it stopped.
__attribute__((target("avx2"))) std::size_t countNodesAvx2(const unsigned char* p, std::size_t size,
                                                           std::size_t& i, std::size_t stopAfter) {
    const __m256i tag = _mm256_set1_epi8('<'), slash = _mm256_set1_epi8('/'),
                  equals = _mm256_set1_epi8('='), zero = _mm256_setzero_si256();
    std::size_t n = 0;
    while (i + 33 <= size && n <= stopAfter) {
        __m256i counts = zero;
        for (int step = 0; step < 127 && i + 33 <= size; ++step, i += 32) {
            __m256i here = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
            __m256i next = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i + 1));
            __m256i starts =
                _mm256_andnot_si256(_mm256_cmpeq_epi8(next, slash), _mm256_cmpeq_epi8(here, tag));
            counts = _mm256_sub_epi8(counts, starts);
            counts = _mm256_sub_epi8(counts, _mm256_cmpeq_epi8(here, equals));
        }
        __m256i sums = _mm256_sad_epu8(counts, zero);
        n += std::size_t(_mm256_extract_epi64(sums, 0)) +
             std::size_t(_mm256_extract_epi64(sums, 1)) +
             std::size_t(_mm256_extract_epi64(sums, 2)) +
             std::size_t(_mm256_extract_epi64(sums, 3));
    }
    return n;
}

const bool kHaveAvx2 = __builtin_cpu_supports("avx2");
#endif

std::size_t countNodes(std::string_view text, std::size_t stopAfter) {
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size();
    std::size_t n = 0, i = 0;
#ifdef LM_AVX2_DISPATCH
    if (kHaveAvx2)
        n = countNodesAvx2(p, size, i, stopAfter);
#endif
#ifdef __SSE2__
    const __m128i tag = _mm_set1_epi8('<'), slash = _mm_set1_epi8('/'), equals = _mm_set1_epi8('='),
                  zero = _mm_setzero_si128();
    while (i + 17 <= size && n <= stopAfter) {
        // Byte counters take at most 2 a step: flushed after 127 steps, before they wrap.
        __m128i counts = zero;
        for (int step = 0; step < 127 && i + 17 <= size; ++step, i += 16) {
            __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
            __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 1));
            __m128i starts =
                _mm_andnot_si128(_mm_cmpeq_epi8(next, slash), _mm_cmpeq_epi8(here, tag));
            counts = _mm_sub_epi8(counts, starts);
            counts = _mm_sub_epi8(counts, _mm_cmpeq_epi8(here, equals));
        }
        __m128i sums = _mm_sad_epu8(counts, zero);
        n += std::size_t(_mm_cvtsi128_si32(sums)) +
             std::size_t(_mm_cvtsi128_si32(_mm_unpackhi_epi64(sums, sums)));
    }
#endif
    // A '<' at the very end has no next byte to tell an end tag: it is not counted.
    for (; i < size; ++i)
        n += std::size_t(p[i] == '=') + (p[i] == '<' && i + 1 < size && p[i + 1] != '/');
    return n;
}

// Big buffers get huge pages where the system offers them on request: a 40 MB sheet is
// otherwise ten thousand page faults, which cost as much as inflating it.
void adviseHugePages([[maybe_unused]] char* data, [[maybe_unused]] std::size_t size) {
#ifdef MADV_HUGEPAGE
    constexpr std::uintptr_t kHuge = std::uintptr_t(2) << 20;
    if (size < 2 * kHuge)
        return;
    std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(data) + kHuge - 1) & ~(kHuge - 1);
    std::uintptr_t last = (reinterpret_cast<std::uintptr_t>(data) + size) & ~(kHuge - 1);
    if (last > first)
        madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#endif
}

} // namespace

Package::~Package() {
    if (m_zip)
        zip_discard(m_zip);
}

Status Package::open(std::string bytes, const Limits& limits) {
    m_limits = limits;
    m_bytes = std::move(bytes);
    if (m_bytes.size() < 22 || m_bytes[0] != 'P' || m_bytes[1] != 'K')
        return Status::NotAZip;
    zip_error_t err;
    zip_error_init(&err);
    m_source = zip_source_buffer_create(m_bytes.data(), m_bytes.size(), 0, &err);
    if (!m_source) {
        zip_error_fini(&err);
        return Status::NotAZip;
    }
    m_zip = zip_open_from_source(m_source, ZIP_RDONLY, &err);
    zip_error_fini(&err);
    if (!m_zip) {
        zip_source_free(m_source);
        m_source = nullptr;
        return Status::NotAZip;
    }
    zip_int64_t n = zip_get_num_entries(m_zip, 0);
    if (n < 0 || std::size_t(n) > m_limits.maxEntries)
        return Status::TooLarge;
    for (zip_int64_t i = 0; i < n; ++i) {
        const char* name = zip_get_name(m_zip, zip_uint64_t(i), ZIP_FL_ENC_GUESS);
        // Names that differ only in case are one part: such a file is damaged, or an edit
        // could land in the entry that is not read.
        if (name && !m_index.emplace(lowerAscii(name), std::size_t(i)).second)
            return Status::DuplicatePart;
    }
    return Status::Ok;
}

bool Package::has(const std::string& part) const {
    return m_index.count(lowerAscii(part)) != 0;
}

std::vector<std::string> Package::entries() const {
    std::vector<std::string> names;
    if (!m_zip)
        return names;
    zip_int64_t n = zip_get_num_entries(m_zip, 0);
    for (zip_int64_t i = 0; i < n; ++i) {
        const char* name = zip_get_name(m_zip, zip_uint64_t(i), ZIP_FL_ENC_GUESS);
        names.emplace_back(name ? name : "");
    }
    return names;
}

Status Package::read(const std::string& part, std::string& out) {
    out.clear();
    auto it = m_index.find(lowerAscii(part));
    if (!m_zip || it == m_index.end())
        return Status::MissingPart;
    zip_stat_t st;
    zip_stat_init(&st);
    bool stated = zip_stat_index(m_zip, it->second, 0, &st) == 0;
    if (stated && (st.valid & ZIP_STAT_SIZE) && st.size <= m_limits.maxPartBytes) {
        // A hint only: the real count is checked below. One byte more, so that the end of
        // a truthful part is seen without growing the buffer.
        out.reserve(std::size_t(st.size) + 1);
        adviseHugePages(out.data(), out.capacity());
    }
    // Deflated entries are inflated by ISA-L from the raw bytes, a few times faster than
    // zlib; it streams, so the caps and the node count still stop a bomb early.
    std::string deflated;
    bool fast = stated && (st.valid & ZIP_STAT_COMP_METHOD) && st.comp_method == ZIP_CM_DEFLATE &&
                (st.valid & ZIP_STAT_COMP_SIZE) && (st.valid & ZIP_STAT_CRC) &&
                (!(st.valid & ZIP_STAT_ENCRYPTION_METHOD) || st.encryption_method == ZIP_EM_NONE) &&
                st.comp_size <= m_bytes.size();
    zip_file_t* f = zip_fopen_index(m_zip, it->second, fast ? ZIP_FL_COMPRESSED : 0);
    if (!f)
        return Status::NotAZip;
    if (fast) {
        deflated.resize(std::size_t(st.comp_size));
        zip_int64_t got = zip_fread(f, deflated.data(), st.comp_size);
        zip_fclose(f);
        f = nullptr;
        if (got != zip_int64_t(st.comp_size))
            return Status::NotAZip;
    }
    inflate_state inflater{};
    if (fast) {
        isal_inflate_init(&inflater);
        inflater.crc_flag = ISAL_GZIP_NO_HDR; // raw deflate, CRC-32 as zip has it
        inflater.next_in = reinterpret_cast<std::uint8_t*>(deflated.data());
        inflater.avail_in = std::uint32_t(deflated.size());
    }
    // Read in steps of at most 1 MB into the room reserved for the declared size, so that
    // the node count can stop a hostile part early and counts bytes still in the cache.
    std::size_t chunk = std::clamp<std::size_t>(out.capacity() + 1, 4096, std::size_t(1) << 20);
    Status status = Status::Ok;
    std::size_t nodes = 0;
    for (;;) {
        std::size_t have = out.size();
        std::size_t room = m_limits.maxPartBytes - std::min(have, m_limits.maxPartBytes) + 1;
        // Within the room reserved while there is some, so that the buffer is not moved.
        std::size_t spare = out.capacity() - have;
        std::size_t want = std::min({spare > 0 ? spare : chunk, chunk, room});
        out.resize(have + want);
        std::size_t got = 0;
        bool done = false;
        if (fast) {
            inflater.next_out = reinterpret_cast<std::uint8_t*>(out.data() + have);
            inflater.avail_out = std::uint32_t(want);
            int rc = isal_inflate(&inflater);
            got = want - inflater.avail_out;
            done = inflater.block_state == ISAL_BLOCK_FINISH;
            // An error, or input that ends before the stream does.
            if (rc < 0 || (!done && got == 0 && inflater.avail_in == 0)) {
                status = Status::NotAZip;
                out.resize(have);
                break;
            }
        } else {
            zip_int64_t n = zip_fread(f, out.data() + have, want);
            if (n < 0) {
                status = Status::NotAZip;
                out.resize(have);
                break;
            }
            got = std::size_t(n);
            done = got == 0;
        }
        out.resize(have + got);
        m_inflated += got;
        if (out.size() > m_limits.maxPartBytes || m_inflated > m_limits.maxTotalBytes) {
            status = Status::TooLarge;
            break;
        }
        // Nodes are counted as they come, so that a part of empty elements stops long
        // before its bytes reach the size cap.
        nodes += countNodes(std::string_view(out).substr(have), m_limits.maxXmlNodes);
        if (nodes > m_limits.maxXmlNodes) {
            status = Status::TooManyNodes;
            break;
        }
        if (done)
            break;
    }
    if (f)
        zip_fclose(f);
    else if (status == Status::Ok && inflater.crc != st.crc)
        status = Status::NotAZip;
    if (status != Status::Ok) {
        out.clear();
        out.shrink_to_fit();
    }
    return status;
}

Status Package::writeTo(const std::string& path,
                        const std::map<std::string, std::string>& replaced) const {
    // Replaced parts are matched to the entries as the reader found them, ignoring case.
    std::map<std::size_t, const std::string*> byIndex;
    std::vector<std::pair<std::string, const std::string*>> added;
    for (const auto& [name, data] : replaced) {
        auto it = m_index.find(lowerAscii(name));
        if (it != m_index.end())
            byIndex[it->second] = &data;
        else
            added.emplace_back(name, &data);
    }
    zip_error_t err;
    zip_error_init(&err);
    zip_source_t* mem = zip_source_buffer_create(nullptr, 0, 0, &err);
    zip_error_fini(&err);
    if (!mem)
        return Status::WriteFailed;
    zip_source_keep(mem);
    zip_error_init(&err);
    zip_t* out = zip_open_from_source(mem, ZIP_TRUNCATE, &err);
    zip_error_fini(&err);
    if (!out) {
        zip_source_free(mem);
        return Status::WriteFailed;
    }
    bool ok = true;
    auto add = [&](const std::string& name, zip_source_t* src) {
        if (!src || zip_file_add(out, name.c_str(), src, ZIP_FL_ENC_UTF_8) < 0) {
            if (src)
                zip_source_free(src);
            ok = false;
        }
    };
    auto names = entries();
    for (std::size_t i = 0; ok && i < names.size(); ++i) {
        auto rep = byIndex.find(i);
        add(names[i], rep != byIndex.end()
                          ? zip_source_buffer(out, rep->second->data(), rep->second->size(), 0)
                          : zip_source_zip(out, m_zip, i, 0, 0, -1));
    }
    // Parts that are new to the package come after the old ones.
    for (const auto& [name, data] : added)
        if (ok)
            add(name, zip_source_buffer(out, data->data(), data->size(), 0));
    std::string bytes;
    if (ok && zip_close(out) == 0) {
        ok = zip_source_open(mem) == 0;
        if (ok) {
            zip_source_seek(mem, 0, SEEK_END);
            zip_int64_t size = zip_source_tell(mem);
            zip_source_seek(mem, 0, SEEK_SET);
            ok = size > 0;
            if (ok) {
                bytes.resize(std::size_t(size));
                ok = zip_source_read(mem, bytes.data(), zip_uint64_t(size)) == size;
            }
            zip_source_close(mem);
        }
    } else {
        zip_discard(out);
        ok = false;
    }
    zip_source_free(mem);
    if (!ok)
        return Status::WriteFailed;
    return replaceFile(path, bytes);
}

std::string buildZip(const std::vector<std::pair<std::string, std::string>>& parts) {
    zip_error_t err;
    zip_error_init(&err);
    zip_source_t* mem = zip_source_buffer_create(nullptr, 0, 0, &err);
    std::string result;
    if (!mem) {
        zip_error_fini(&err);
        return result;
    }
    zip_source_keep(mem);
    zip_t* za = zip_open_from_source(mem, ZIP_TRUNCATE, &err);
    if (za) {
        for (const auto& [name, data] : parts) {
            zip_source_t* s = zip_source_buffer(za, data.data(), data.size(), 0);
            if (s && zip_file_add(za, name.c_str(), s, ZIP_FL_ENC_UTF_8) < 0)
                zip_source_free(s);
        }
        if (zip_close(za) != 0)
            zip_discard(za);
        else if (zip_source_open(mem) == 0) {
            zip_source_seek(mem, 0, SEEK_END);
            zip_int64_t size = zip_source_tell(mem);
            zip_source_seek(mem, 0, SEEK_SET);
            if (size > 0) {
                result.resize(std::size_t(size));
                zip_int64_t got = zip_source_read(mem, result.data(), zip_uint64_t(size));
                result.resize(got > 0 ? std::size_t(got) : 0);
            }
            zip_source_close(mem);
        }
    }
    zip_source_free(mem);
    zip_error_fini(&err);
    return result;
}

namespace {

// Deepest nesting of the document, walked without recursion; stops past `limit`.
std::size_t depthOf(const pugi::xml_document& doc, std::size_t limit) {
    std::size_t depth = 0, deepest = 0;
    pugi::xml_node n = doc.first_child();
    while (n) {
        if (n.first_child()) {
            n = n.first_child();
            deepest = std::max(deepest, ++depth);
            if (deepest > limit)
                break;
            continue;
        }
        while (n && !n.next_sibling()) {
            n = n.parent();
            --depth;
        }
        if (n)
            n = n.next_sibling();
    }
    return deepest;
}

} // namespace

Status parseXml(std::string& buffer, pugi::xml_document& doc, const Limits& limits) {
    // Memory of the parse goes by the count of nodes, not by the size of the text:
    // checked before anything is allocated.
    if (countNodes(buffer, limits.maxXmlNodes) > limits.maxXmlNodes)
        return Status::TooManyNodes;
    // Text of simple elements (<v>, <t>) lives in the element node: a third fewer nodes.
    unsigned flags = pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_doctype |
                     pugi::parse_embed_pcdata;
    auto res = doc.load_buffer_inplace(buffer.data(), buffer.size(), flags);
    if (res.status == pugi::status_out_of_memory)
        return Status::TooLarge;
    if (!res)
        return Status::BadXml;
    for (auto n = doc.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_doctype)
            return Status::DtdForbidden;
    if (!doc.document_element())
        return Status::BadXml;
    // Every edit of the tree (removing a node frees its children recursively) is safe
    // only for trees of sane depth.
    if (depthOf(doc, limits.maxXmlDepth) > limits.maxXmlDepth) {
        doc.reset();
        return Status::TooDeep;
    }
    return Status::Ok;
}

std::string_view localName(const char* qualified) {
    std::string_view s(qualified);
    auto colon = s.rfind(':');
    return colon == std::string_view::npos ? s : s.substr(colon + 1);
}

pugi::xml_node childNamed(pugi::xml_node parent, std::string_view local) {
    for (auto c = parent.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && localName(c.name()) == local)
            return c;
    return {};
}

std::wstring fromUtf8(std::string_view s) {
    return pugi::as_wide(std::string(s));
}

std::string toUtf8(std::wstring_view s) {
    return pugi::as_utf8(std::wstring(s));
}

} // namespace spreadsheet
