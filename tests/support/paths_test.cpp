// Path rules with the platform's separator, module paths of the test program itself, and
// file listings of a folder made for the test.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "platform/module.h"
#include "support/file_finder.h"
#include "support/path_library.h"

namespace vitrella {
namespace {

namespace fs = std::filesystem;

std::u16string Text(const KZUnicodeString& s) {
  return s.SafeData();
}

KZUnicodeString Wide(const fs::path& path) {
  return KZUnicodeString(path.u16string().c_str());
}

TEST(PathLibraryTest, CollapseRemovesParentStepsOneAtATime) {
  const PathLibrary paths;
  EXPECT_EQ(Text(paths.Collapse(u"/a/b/../c")), u"/a/c");
  EXPECT_EQ(Text(paths.Collapse(u"/a/b/c/../../d")), u"/a/d");
  EXPECT_EQ(Text(paths.Collapse(u"/a/b/../c/../d")), u"/a/d");
  // A step at the very start stays, also when earlier rounds lead up to one.
  EXPECT_EQ(Text(paths.Collapse(u"/../x")), u"/../x");
  EXPECT_EQ(Text(paths.Collapse(u"/a/../../x")), u"/../x");
  // A name that opens the path has no separator before it.
  EXPECT_EQ(Text(paths.Collapse(u"a/../b")), u"a/../b");
  EXPECT_EQ(Text(paths.Collapse(u"a/b/../c")), u"a/c");
  // Only "/../" counts: a trailing "/.." and names with dots stay.
  EXPECT_EQ(Text(paths.Collapse(u"/a/b/..")), u"/a/b/..");
  EXPECT_EQ(Text(paths.Collapse(u"/a/b/.../c")), u"/a/b/.../c");
  EXPECT_EQ(Text(paths.Collapse(u"/a/b..c/d")), u"/a/b..c/d");
  EXPECT_TRUE(paths.Collapse(KZUnicodeString()).IsEmpty());
}

TEST(PathLibraryTest, JoinAddsOneSeparator) {
  const PathLibrary paths;
  EXPECT_EQ(Text(paths.Join(u"/a/", u"b")), u"/a/b");
  EXPECT_EQ(Text(paths.Join(u"/a", u"b")), u"/a/b");
  EXPECT_EQ(Text(paths.Join(u"/", u"b")), u"/b");
  EXPECT_EQ(Text(paths.Join(u"", u"b")), u"/b");
  EXPECT_EQ(Text(paths.Join(u"/a", u"")), u"/a/");
}

TEST(PathLibraryTest, DirectoryAndFileNameSplitAtTheLastSeparator) {
  const PathLibrary paths;
  EXPECT_EQ(Text(paths.DirectoryOf(u"/a/b/c.xml")), u"/a/b/");
  EXPECT_EQ(Text(paths.FileNameOf(u"/a/b/c.xml")), u"c.xml");
  EXPECT_EQ(Text(paths.DirectoryOf(u"/c.xml")), u"/");
  EXPECT_EQ(Text(paths.FileNameOf(u"/c.xml")), u"c.xml");
  // Without a separator there is no directory, and the name is the whole path.
  EXPECT_TRUE(paths.DirectoryOf(u"c.xml").IsEmpty());
  EXPECT_EQ(Text(paths.FileNameOf(u"c.xml")), u"c.xml");
  // A path ending in a separator names no file and comes back as it is.
  EXPECT_EQ(Text(paths.DirectoryOf(u"/a/b/")), u"/a/b/");
  EXPECT_EQ(Text(paths.FileNameOf(u"/a/b/")), u"/a/b/");
  // The other platform's separator is an ordinary character here.
  EXPECT_EQ(Text(paths.FileNameOf(u"/a/b\\c")), u"b\\c");
  EXPECT_TRUE(paths.FileNameOf(KZUnicodeString()).IsEmpty());
}

TEST(PathLibraryTest, ModulePathsOfTheTestProgram) {
  const PathLibrary paths;
  const KZUnicodeString program = paths.GetModuleFileName(nullptr);
  ASSERT_FALSE(program.IsEmpty());
  EXPECT_EQ(program.Data()[0], platform::kPathSeparator);
  EXPECT_EQ(Text(paths.FileNameOf(program)), u"support_test");
  EXPECT_TRUE(fs::is_regular_file(fs::path(program.SafeData())));
  // This code is linked into the program, so its own module is the program.
  EXPECT_TRUE(paths.GetModuleFileName(platform::ThisModule()).Equal(program));

  const KZUnicodeString directory = paths.ModuleDirectory(nullptr);
  EXPECT_EQ(Text(directory) + u"/", Text(paths.DirectoryOf(program)));
  EXPECT_EQ(Text(paths.FileBesideModule(nullptr, u"KZLang.so")), Text(directory) + u"/KZLang.so");
}

// A folder of its own under the system's temporary folder, removed afterwards.
class FileFinderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device random;
    root_ = fs::temp_directory_path() / ("vitrella-finder-" + std::to_string(random()));
    fs::create_directories(root_ / "presets" / "nested.xml");
    for (const char* name : {"b.xml", "a.xml", "c.XML", "ab.txt", "[x].xml", ".hidden.xml"}) {
      std::ofstream(root_ / "presets" / name) << "x";
    }
    std::ofstream(root_ / "presets" / "nested.xml" / "inner.xml") << "x";
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }

  std::vector<std::u16string> Find(const KZUnicodeString& directory,
                                   const KZUnicodeString& pattern) const {
    const FileFinder finder(directory, pattern);
    std::vector<std::u16string> found;
    for (const KZUnicodeString& file : finder.Files())
      found.push_back(Text(file));
    return found;
  }
  std::u16string Path(const std::u16string& name) const {
    return (root_ / "presets").u16string() + u"/" + name;
  }

  fs::path root_;
};

TEST_F(FileFinderTest, ListsFilesOnlyInNameOrderAsFullPaths) {
  const KZUnicodeString presets = Wide(root_ / "presets");
  EXPECT_EQ(Find(presets, u"*.xml"),
            (std::vector<std::u16string>{Path(u".hidden.xml"), Path(u"[x].xml"), Path(u"a.xml"),
                                         Path(u"b.xml")}));
  EXPECT_EQ(Find(presets, u"?.xml"), (std::vector<std::u16string>{Path(u"a.xml"), Path(u"b.xml")}));
  EXPECT_EQ(Find(presets, u"a*"), (std::vector<std::u16string>{Path(u"a.xml"), Path(u"ab.txt")}));
  // '[' is no character class, and case counts as the file system sees it.
  EXPECT_EQ(Find(presets, u"[x].xml"), (std::vector<std::u16string>{Path(u"[x].xml")}));
  EXPECT_EQ(Find(presets, u"*.XML"), (std::vector<std::u16string>{Path(u"c.XML")}));
  // The directory "nested.xml" matches but is skipped, and so are "." and "..".
  EXPECT_EQ(Find(presets, u"*").size(), 6u);
  EXPECT_TRUE(Find(presets, u"nested.xml").empty());
}

TEST_F(FileFinderTest, SkipsLinksToDirectoriesButKeepsLinksToFiles) {
  fs::create_directory_symlink(root_ / "presets" / "nested.xml", root_ / "presets" / "dir.lnk");
  fs::create_symlink(root_ / "presets" / "a.xml", root_ / "presets" / "file.lnk");
  fs::create_symlink(root_ / "missing", root_ / "presets" / "dangling.lnk");
  EXPECT_EQ(Find(Wide(root_ / "presets"), u"*.lnk"),
            (std::vector<std::u16string>{Path(u"file.lnk")}));
}

TEST_F(FileFinderTest, CollapsesTheSearchPathFirst) {
  const KZUnicodeString detour = Wide(root_ / "presets" / "nested.xml" / "..");
  const FileFinder finder(detour, u"b.xml");
  EXPECT_EQ(Text(finder.SearchPath()), Path(u"b.xml"));
  ASSERT_EQ(finder.Count(), 1u);
  EXPECT_EQ(Text(finder.File(0)), Path(u"b.xml"));
  EXPECT_TRUE(finder.File(1).IsEmpty());
}

TEST_F(FileFinderTest, NothingFoundGivesAnEmptyList) {
  EXPECT_TRUE(Find(Wide(root_ / "presets"), u"*.none").empty());
  EXPECT_TRUE(Find(Wide(root_ / "absent"), u"*").empty());
  EXPECT_TRUE(Find(Wide(root_ / "presets" / "a.xml"), u"*").empty());
}

TEST(FileFinderBesideModuleTest, WithoutPatternSearchesBesideTheProgram) {
  const PathLibrary paths;
  const KZUnicodeString program = paths.GetModuleFileName(nullptr);
  // The detour through a folder that need not exist is collapsed away before the search.
  const FileFinder finder(u"missing/../support_te?t", KZUnicodeString());
  EXPECT_EQ(Text(finder.SearchPath()), Text(paths.ModuleDirectory(nullptr)) + u"/support_te?t");
  ASSERT_EQ(finder.Count(), 1u);
  EXPECT_TRUE(finder.File(0).Equal(program));
}

}  // namespace
}  // namespace vitrella
