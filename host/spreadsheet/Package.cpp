#include "spreadsheet/Package.h"

#include <zip.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace spreadsheet {

namespace {

std::string lowerAscii(std::string s) {
    for (char& c : s)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return s;
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
        if (name)
            m_index.emplace(lowerAscii(name), std::size_t(i));
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
    // First read the declared size at once (plus one byte to see a lie), then in steps.
    std::size_t chunk =
        std::clamp<std::size_t>(out.capacity() + 1, 4096, m_limits.maxPartBytes + 1);
    Status status = Status::Ok;
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
        if (got == 0)
            break;
        chunk = 1 << 20;
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
    namespace fs = std::filesystem;
    std::string tmp = path + ".lmsave~";
    int err = 0;
    zip_t* out = zip_open(tmp.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &err);
    if (!out)
        return Status::WriteFailed;
    bool ok = true;
    auto names = entries();
    for (std::size_t i = 0; ok && i < names.size(); ++i) {
        zip_source_t* src = nullptr;
        auto rep = replaced.find(names[i]);
        if (rep != replaced.end()) {
            src = zip_source_buffer(out, rep->second.data(), rep->second.size(), 0);
        } else {
            src = zip_source_zip(out, m_zip, i, 0, 0, -1);
        }
        if (!src || zip_file_add(out, names[i].c_str(), src, ZIP_FL_ENC_UTF_8) < 0) {
            if (src)
                zip_source_free(src);
            ok = false;
        }
    }
    // Parts that are new to the package come after the old ones.
    for (const auto& [name, data] : replaced) {
        if (!ok || std::find(names.begin(), names.end(), name) != names.end())
            continue;
        zip_source_t* src = zip_source_buffer(out, data.data(), data.size(), 0);
        if (!src || zip_file_add(out, name.c_str(), src, ZIP_FL_ENC_UTF_8) < 0) {
            if (src)
                zip_source_free(src);
            ok = false;
        }
    }
    if (!ok) {
        zip_discard(out);
        std::error_code ec;
        fs::remove(tmp, ec);
        return Status::WriteFailed;
    }
    if (zip_close(out) != 0) {
        zip_discard(out);
        std::error_code ec;
        fs::remove(tmp, ec);
        return Status::WriteFailed;
    }
    std::error_code ec;
    fs::rename(tmp, path, ec);
    if (ec) {
        fs::remove(tmp, ec);
        return Status::WriteFailed;
    }
    return Status::Ok;
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

Status parseXml(std::string& buffer, pugi::xml_document& doc) {
    // Text of simple elements (<v>, <t>) lives in the element node: a third fewer nodes.
    unsigned flags = pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_doctype |
                     pugi::parse_embed_pcdata;
    auto res = doc.load_buffer_inplace(buffer.data(), buffer.size(), flags);
    if (!res)
        return Status::BadXml;
    for (auto n = doc.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_doctype)
            return Status::DtdForbidden;
    if (!doc.document_element())
        return Status::BadXml;
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
