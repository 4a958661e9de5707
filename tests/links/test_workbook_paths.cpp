// The shell's path calls as the link records use them: Windows spellings from a Cell
// Expression meet POSIX folders here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "shlwapi.h"

namespace {

std::wstring canonical(const wchar_t* path) {
    wchar_t out[MAX_PATH] = {0};
    if (!PathCanonicalizeW(out, path))
        return L"<failed>";
    return out;
}

std::wstring relative(const wchar_t* from, DWORD fromAttributes, const wchar_t* to) {
    wchar_t out[MAX_PATH] = {0};
    if (!PathRelativePathToW(out, from, fromAttributes, to, 0))
        return L"<failed>";
    return out;
}

// The steps that resolve a relative workbook path against a drawing.
std::wstring resolve(const wchar_t* drawing, const wchar_t* workbook) {
    wchar_t folder[MAX_PATH] = {0};
    wcscpy(folder, drawing);
    PathRemoveFileSpecW(folder);
    PathAddBackslashW(folder);
    std::wstring joined = std::wstring(folder) + workbook;
    return canonical(joined.c_str());
}

TEST(PathCalls, CanonicalizeResolvesDotsInEitherSpelling) {
    EXPECT_EQ(canonical(L"/home/u/./data/../sizes.xlsx"), L"/home/u/sizes.xlsx");
    EXPECT_EQ(canonical(L"/home/u/.\\data\\sizes.xlsx"), L"/home/u/data/sizes.xlsx");
    EXPECT_EQ(canonical(L"C:\\a\\.\\b\\..\\c.xlsx"), L"C:\\a\\c.xlsx");
    EXPECT_EQ(canonical(L"C:\\..\\..\\c.xlsx"), L"C:\\c.xlsx");
    EXPECT_EQ(canonical(L"/../x"), L"/x");
    EXPECT_EQ(canonical(L"..\\x\\..\\..\\y"), L"..\\..\\y");
    EXPECT_EQ(canonical(L"\\\\server\\share\\.\\a.xlsx"), L"\\\\server\\share\\a.xlsx");
    EXPECT_EQ(canonical(L"C:\\a\\b\\"), L"C:\\a\\b\\");
}

TEST(PathCalls, CanonicalizeRefusesWhatExceedsThePathLimit) {
    std::wstring longPath = L"/" + std::wstring(300, L'a');
    wchar_t out[MAX_PATH] = {L'x', 0};
    EXPECT_FALSE(PathCanonicalizeW(out, longPath.c_str()));
    EXPECT_EQ(out[0], 0);
}

TEST(PathCalls, APathThatDoesNotFitIsRefusedNeverCut) {
    // The result would be short, but the path given is already over the limit.
    std::wstring climbing = L"/a/" + std::wstring(270, L'b') + L"/../../c.xlsx";
    wchar_t out[MAX_PATH] = {L'x', 0};
    EXPECT_FALSE(PathCanonicalizeW(out, climbing.c_str()));
    EXPECT_EQ(out[0], 0);
    // 259 characters and the terminator fill the buffer exactly.
    std::wstring fits = L"/" + std::wstring(MAX_PATH - 2, L'a');
    EXPECT_EQ(canonical(fits.c_str()), fits);
    EXPECT_EQ(canonical((fits + L"b").c_str()), L"<failed>");

    std::vector<wchar_t> folder(400, 0);
    std::wstring full = L"/" + std::wstring(MAX_PATH, L'a') + L"/";
    std::wcscpy(folder.data(), full.c_str());
    EXPECT_EQ(PathAddBackslashW(folder.data()), nullptr);
    std::wstring almost = L"/" + std::wstring(MAX_PATH - 3, L'a'); // 258 characters
    std::wcscpy(folder.data(), almost.c_str());
    ASSERT_NE(PathAddBackslashW(folder.data()), nullptr);
    EXPECT_EQ(std::wstring(folder.data()), almost + L"/");
    EXPECT_EQ(PathAddBackslashW((almost + L"a").data()), nullptr);

    EXPECT_EQ(relative(full.c_str(), FILE_ATTRIBUTE_DIRECTORY, L"/a.xlsx"), L"<failed>");
    EXPECT_EQ(relative(L"/a", FILE_ATTRIBUTE_DIRECTORY, full.c_str()), L"<failed>");
}

TEST(PathCalls, AFileBeyondThePathLimitIsNotFound) {
    std::string pattern = (std::filesystem::temp_directory_path() / "pathlimit-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    std::filesystem::path deep = pattern;
    while (deep.native().size() < MAX_PATH)
        deep /= std::string(60, 'd');
    std::filesystem::create_directories(deep);
    EXPECT_TRUE(std::filesystem::exists(deep));
    EXPECT_FALSE(PathFileExistsW(deep.wstring().c_str()));
    EXPECT_TRUE(PathFileExistsW(std::filesystem::path(pattern).wstring().c_str()));
    std::filesystem::remove_all(pattern);
}

TEST(PathCalls, FileChecksSeeRemovalsAndAcceptWideNamesUpToTheLimit) {
    std::string pattern = (std::filesystem::temp_directory_path() / "pathwide-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    // Two-, three- and four-byte characters up to the last character the limit allows, in
    // folders short enough for the file system; the same name in UTF-8 for the file calls.
    std::wstring name(pattern.begin(), pattern.end());
    std::string bytes = pattern;
    name += L"/\u6587\U0001F4C4";
    bytes += "/\xE6\x96\x87\xF0\x9F\x93\x84";
    for (int i = 0; name.size() < MAX_PATH - 6; ++i) {
        name += i % 40 == 39 ? L"/" : L"\u00e9";
        bytes += i % 40 == 39 ? "/" : "\xC3\xA9";
    }
    name += L".xlsx";
    bytes += ".xlsx";
    ASSERT_EQ(name.size(), std::size_t(MAX_PATH - 1));
    std::filesystem::path file(bytes);
    std::filesystem::create_directories(file.parent_path());
    EXPECT_FALSE(PathFileExistsW(name.c_str()));
    std::ofstream(file) << "x";
    EXPECT_TRUE(PathFileExistsW(name.c_str()));
    std::filesystem::remove(file);
    EXPECT_FALSE(PathFileExistsW(name.c_str()));
    std::filesystem::remove_all(pattern);
}

TEST(PathCalls, RelativeWorkbookPathsResolveAgainstTheDrawingsFolder) {
    EXPECT_EQ(resolve(L"/home/u/proj/door.dwg", L".\\data\\sizes.xlsx"),
              L"/home/u/proj/data/sizes.xlsx");
    EXPECT_EQ(resolve(L"/home/u/proj/door.dwg", L"..\\shared\\sizes.xlsx"),
              L"/home/u/shared/sizes.xlsx");
    EXPECT_EQ(resolve(L"/home/u/proj/door.dwg", L"sizes.xlsx"), L"/home/u/proj/sizes.xlsx");
    EXPECT_EQ(resolve(L"C:\\proj\\door.dwg", L".\\data\\sizes.xlsx"),
              L"C:\\proj\\data\\sizes.xlsx");
    // A drawing never saved has no folder: the path stays relative.
    EXPECT_EQ(resolve(L"Drawing1.dwg", L".\\sizes.xlsx"), L"sizes.xlsx");
    EXPECT_EQ(resolve(L"", L"sizes.xlsx"), L"sizes.xlsx");
}

TEST(PathCalls, WindowsPathsAreAbsentFilesHere) {
    EXPECT_FALSE(PathIsRelativeW(L"C:\\Data\\sizes.xlsx"));
    EXPECT_FALSE(PathFileExistsW(L"C:\\Data\\sizes.xlsx"));
    EXPECT_FALSE(PathIsRelativeW(L"\\\\server\\share\\sizes.xlsx"));
    EXPECT_TRUE(PathIsRelativeW(L".\\data\\sizes.xlsx"));
    EXPECT_TRUE(PathFileExistsW(L"/"));
}

TEST(PathCalls, RelativePathFromADrawingToAWorkbook) {
    EXPECT_EQ(relative(L"/home/u/proj/door.dwg", 0, L"/home/u/proj/data/sizes.xlsx"),
              L"./data/sizes.xlsx");
    EXPECT_EQ(relative(L"/home/u/proj/door.dwg", 0, L"/home/u/shared/sizes.xlsx"),
              L"../shared/sizes.xlsx");
    EXPECT_EQ(relative(L"/home/u/proj", FILE_ATTRIBUTE_DIRECTORY, L"/home/u/proj/a.xlsx"),
              L"./a.xlsx");
    EXPECT_EQ(relative(L"C:\\Proj\\door.dwg", 0, L"c:\\proj\\Data\\sizes.xlsx"),
              L".\\Data\\sizes.xlsx");
    // POSIX names are compared exactly.
    EXPECT_EQ(relative(L"/home/u/Proj/door.dwg", 0, L"/home/u/proj/a.xlsx"), L"../proj/a.xlsx");
    EXPECT_EQ(relative(L"C:\\proj\\door.dwg", 0, L"D:\\proj\\a.xlsx"), L"<failed>");
    EXPECT_EQ(relative(L"/home/u/door.dwg", 0, L"C:\\a.xlsx"), L"<failed>");
}

} // namespace
