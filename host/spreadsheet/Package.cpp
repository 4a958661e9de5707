#include "spreadsheet/Package.h"

#include "spreadsheet/WorkbookFile.h"

#include <zip.h>

#include <algorithm>
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
// every '=' (attributes). Text of simple elements is held in the element itself.
std::size_t countNodes(std::string_view text, std::size_t stopAfter) {
    std::size_t n = 0;
    const char* p = text.data();
    const char* const end = p + text.size();
    while (n <= stopAfter && (p = static_cast<const char*>(std::memchr(p, '<', end - p)))) {
        ++p;
        if (p < end && *p != '/')
            ++n;
    }
    p = text.data();
    while (n <= stopAfter && (p = static_cast<const char*>(std::memchr(p, '=', end - p)))) {
        ++p;
        ++n;
    }
    return n;
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
    if (zip_stat_index(m_zip, it->second, 0, &st) == 0 && (st.valid & ZIP_STAT_SIZE) &&
        st.size <= m_limits.maxPartBytes)
        out.reserve(std::size_t(st.size)); // a hint only: the real count is checked below
    zip_file_t* f = zip_fopen_index(m_zip, it->second, 0);
    if (!f)
        return Status::NotAZip;
    // Read in steps of at most 16 MB into the room reserved for the declared size, so that
    // the node count can stop a hostile part early.
    std::size_t chunk = std::clamp<std::size_t>(out.capacity() + 1, 4096, std::size_t(16) << 20);
    Status status = Status::Ok;
    std::size_t nodes = 0;
    for (;;) {
        std::size_t have = out.size();
        std::size_t room = m_limits.maxPartBytes - std::min(have, m_limits.maxPartBytes) + 1;
        std::size_t want = std::min(chunk, room);
        out.resize(have + want);
        zip_int64_t got = zip_fread(f, out.data() + have, want);
        if (got < 0) {
            status = Status::NotAZip;
            out.resize(have);
            break;
        }
        out.resize(have + std::size_t(got));
        m_inflated += std::size_t(got);
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
        if (got == 0)
            break;
        chunk = std::size_t(4) << 20;
    }
    zip_fclose(f);
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
