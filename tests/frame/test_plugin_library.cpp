// The built plug-in library as the host meets it: what it exports, and its command table
// registered and removed in the table's order in every build configuration.
#include <elf.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "dbapserv.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "sdk/control/Applications.h"
#include "sdk/control/Commands.h"
#include "sdk/control/Documents.h"
#include "sdk/control/Menus.h"
#include "sdk/control/Registry.h"
#include "testkit/Transcript.h"

namespace fs = std::filesystem;

namespace {

// The defined global and weak names of a shared object's dynamic symbol table: what the
// dynamic linker lets other modules see.
std::set<std::string> dynamicExports(const char* path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> image{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::set<std::string> names;
    if (image.size() < sizeof(Elf64_Ehdr) || std::memcmp(image.data(), ELFMAG, SELFMAG) != 0 ||
        image[EI_CLASS] != ELFCLASS64) {
        ADD_FAILURE() << path << " is no 64-bit ELF file";
        return names;
    }
    auto header = reinterpret_cast<const Elf64_Ehdr*>(image.data());
    auto sections = reinterpret_cast<const Elf64_Shdr*>(image.data() + header->e_shoff);
    for (int i = 0; i < header->e_shnum; ++i) {
        if (sections[i].sh_type != SHT_DYNSYM)
            continue;
        const char* strings = image.data() + sections[sections[i].sh_link].sh_offset;
        auto symbols = reinterpret_cast<const Elf64_Sym*>(image.data() + sections[i].sh_offset);
        size_t count = sections[i].sh_size / sizeof(Elf64_Sym);
        for (size_t s = 1; s < count; ++s) {
            const Elf64_Sym& symbol = symbols[s];
            int binding = ELF64_ST_BIND(symbol.st_info);
            if (symbol.st_shndx == SHN_UNDEF ||
                (binding != STB_GLOBAL && binding != STB_WEAK && binding != STB_GNU_UNIQUE))
                continue;
            names.insert(strings + symbol.st_name);
        }
    }
    return names;
}

class PluginLibraryTest : public testkit::HostTest {
protected:
    void SetUp() override {
        testkit::HostTest::SetUp();
        m_config = fs::temp_directory_path() / ("lmlibrary-" + std::to_string(getpid()));
        fs::remove_all(m_config);
        setenv("XDG_CONFIG_HOME", m_config.c_str(), 1);
        lmhost::resetSettingsStore();
        lmhost::resetMenus();
        lmhost::newDocument(L"Drawing1.dwg");
        lmhost::clearCommandStackChanges();
    }
    void TearDown() override {
        lmhost::unloadAllApplications();
        lmhost::closeAllDocuments();
        lmhost::takeQueuedExpressions();
        lmhost::resetSettingsStore();
        lmhost::resetMenus();
        lmhost::clearCommandStackChanges();
        fs::remove_all(m_config);
        testkit::HostTest::TearDown();
    }
    static void load(const char* path) {
        std::wstring error;
        ASSERT_TRUE(lmhost::loadApplication(fs::path(path).wstring(), error)) << error.c_str();
    }
    static void unload(const char* path) {
        std::wstring error;
        ASSERT_TRUE(lmhost::unloadApplication(fs::path(path).wstring(), error)) << error.c_str();
    }
    // The global names the application added (or removed), in the order it did so.
    static std::vector<std::wstring> changes(bool added) {
        std::vector<std::wstring> names;
        for (const lmhost::CommandStackChange& change : lmhost::commandStackChanges()) {
            EXPECT_EQ(change.added, added) << change.globalName.c_str();
            names.push_back(change.globalName);
        }
        return names;
    }
    fs::path m_config;
};

TEST(PluginExports, OnlyTheTwoEntryPointsLeaveTheLibrary) {
    EXPECT_EQ(dynamicExports(LINKMESH_MODULE),
              (std::set<std::string>{"acrxEntryPoint", "acrxGetApiVersion"}));
}

TEST_F(PluginLibraryTest, CommandsAreAddedAndRemovedInTheTablesOrder) {
    const std::vector<std::wstring> table = {L"_Lmesh_Test",
                                             L"_Lmesh_LoadMenu",
                                             L"_Lmesh_About",
                                             L"_Lmesh_Support",
                                             L"_Lmesh_Website",
                                             L"_Lmesh_Help",
                                             L"_Lmesh_WriteLinkedParametersToSource",
                                             L"_Lmesh_UpdateLinkedParameters",
                                             L"_Lmesh_ImportParameters",
                                             L"_Lmesh_ExportParameters",
                                             L"_Lmesh_LinkParameters"};
    load(LINKMESH_MODULE);
    EXPECT_EQ(changes(true), table);
    lmhost::clearCommandStackChanges();
    unload(LINKMESH_MODULE);
    EXPECT_EQ(changes(false), table);
}

// The probe's table is compiled with optimisation in every configuration, where the
// compiler is free to lay out the section's entries in another order than they are written.
TEST_F(PluginLibraryTest, AnOptimisedTableKeepsTheOrderItIsWrittenIn) {
    std::vector<std::wstring> table;
    for (int i = 1; i <= 12; ++i)
        table.push_back((i < 10 ? L"_Order0" : L"_Order") + std::to_wstring(i));
    load(COMMAND_ORDER_PROBE);
    EXPECT_EQ(changes(true), table);
    lmhost::clearCommandStackChanges();
    unload(COMMAND_ORDER_PROBE);
    EXPECT_EQ(changes(false), table);
}

// A table changed just before the unload stays queued through the unload message; the
// queue goes with the library, and neither step may crash or leak.
TEST_F(PluginLibraryTest, UnloadWithATableStillQueued) {
    load(LINKMESH_MODULE);
    AcDbDatabase* database = acdbHostApplicationServices()->workingDatabase();
    auto* table = new AcDbTable();
    table->setSize(2, 2);
    AcDbObjectId id;
    {
        AcDbObjectPointer<AcDbBlockTableRecord> space(database->currentSpaceId(), AcDb::kForWrite);
        ASSERT_EQ(space.openStatus(), Acad::eOk);
        ASSERT_EQ(space->appendAcDbEntity(id, table), Acad::eOk);
        table->close();
    }
    {
        AcDbObjectPointer<AcDbTable> open(id, AcDb::kForWrite);
        ASSERT_EQ(open.openStatus(), Acad::eOk);
        ASSERT_EQ(open->setTextString(0, 0, L"5"), Acad::eOk);
    }
    // The document's reactor leaves with its document, before the library goes.
    lmhost::closeAllDocuments();
    unload(LINKMESH_MODULE);
    EXPECT_TRUE(lmhost::loadedApplications().empty());
    EXPECT_EQ(testkit::commandLine(), L"");
}

} // namespace
