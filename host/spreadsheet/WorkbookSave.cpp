// Saving a workbook over its file or to a new path.
#include "spreadsheet/WorkbookImpl.h"

#include <filesystem>
#include <string>

namespace spreadsheet {

namespace {

struct StringWriter : pugi::xml_writer {
    std::string out;
    void write(const void* data, size_t size) override {
        out.append(static_cast<const char*>(data), size);
    }
};

std::string serialize(const pugi::xml_document& doc) {
    StringWriter w;
    w.out = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n";
    doc.save(w, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    return w.out;
}

} // namespace

std::wstring Workbook::lockHolder(const std::wstring& path) {
    OwnerFile probe;
    std::wstring holder;
    return probe.acquire(std::filesystem::path(path).string(), holder) == Status::Locked ? holder
                                                                                         : L"";
}

Status Workbook::saveAs(const std::wstring& path) {
    namespace fs = std::filesystem;
    std::error_code ec;
    std::wstring full = fs::absolute(fs::path(path), ec).lexically_normal().wstring();
    bool samePath = m_hasFile && full == m_fullName;
    if (m_readOnly && samePath)
        return Status::ReadOnly;
    std::string target = fs::path(full).string();
    // Another file is taken for editing first; its owner file stays ours from then on.
    auto owner = std::make_unique<OwnerFile>();
    if (!samePath || !m_impl->owner || !m_impl->owner->held()) {
        std::wstring holder;
        Status st = owner->acquire(target, holder);
        if (st != Status::Ok)
            return st;
    }
    // Saving over a file that someone else saved since we read it would lose their work.
    if (FileStamp now = stampOf(target);
        samePath && m_impl->stamp.size >= 0 && now.size >= 0 && now != m_impl->stamp)
        return Status::ChangedOnDisk;
    std::map<std::string, std::string> replaced;
    if (m_impl->workbookModified)
        replaced[m_impl->workbookPart] = serialize(m_impl->workbookDoc);
    if (m_impl->stylesModified)
        replaced[m_impl->stylesPart] = serialize(m_impl->stylesDoc);
    for (const auto& s : m_sheets)
        if (s->m_data && s->m_data->modified)
            replaced[s->m_partName] = serialize(s->m_data->doc);
    Status st = m_impl->pkg.writeTo(target, replaced);
    if (st != Status::Ok)
        return st;
    m_impl->stamp = stampOf(target);
    if (owner->held())
        m_impl->owner = std::move(owner);
    m_fullName = full;
    m_name = fileNameOf(full);
    m_hasFile = true;
    m_readOnly = false;
    m_dirty = false;
    return Status::Ok;
}

Status Workbook::save() {
    if (!m_hasFile)
        return Status::NoPath;
    if (m_readOnly)
        return Status::ReadOnly;
    return saveAs(m_fullName);
}

} // namespace spreadsheet
