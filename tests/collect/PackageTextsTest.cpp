// The texts of which packages are told: manifests, npm's files, Python's metadata.
#include <gtest/gtest.h>

#include "collect/NpmPkgInfoDefinition.h"
#include "collect/jar/ManifestText.h"
#include "collect/npm/NpmConfigLine.h"
#include "collect/python/MetadataLine.h"
#include "collect/support/TextLines.h"
#include "common/support/Handles.h"

using namespace LedgoraCollect;

TEST(ParseManifest, VersionAndMainClass) {
  const struct {
    const char* what;
    const char* text;
    const char* want;
  } cases[] = {
      {"implementation",
       "Manifest-Version: 1.0\r\nBundle-Version: 9\r\nImplementation-Version: 1.2.3-b4\r\n"
       "Main-Class: org.example.Main\r\n",
       "1.2.3-b4|org.example.Main"},
      {"bundle only", "Bundle-Version: 4.5.0.v2023\nMain-Classes: x\n", "4.5.0.v2023|"},
      {"empty goes on in the next line", "Implementation-Version: \r\nName: a\r\n", "Name:|"},
      {"first of two", "Implementation-Version: 1\n\nName: p/\nImplementation-Version: 2\n", "1|"},
      {"in the middle of a line", "X-Implementation-Version:7 rest\n", "7|"},
      {"other case", "implementation-version: 1\nmain-class: A\n", "|"},
      {"cut", "Main-Class:", "|"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const JarManifest_S manifest = parseManifest(c.text);
    EXPECT_EQ(manifest.version + "|" + manifest.mainClass, c.want);
  }
}

TEST(ParsePrefixLine, WithAndWithoutComment) {
  const struct {
    const char* line;
    const char* want;  // "+" in front: with a comment
  } cases[] = {
      {"prefix=/opt/x", "/opt/x"},
      {"  prefix   = /opt/a b \r", "/opt/a b"},
      {"prefix=~/.npm-global", "~/.npm-global"},
      {"prefix=/opt/x # theirs", "+/opt/x"},
      {"prefix=/opt/x#one#two", "+/opt/x"},
      {"prefix=/opt/\\#1\\#2 # x", "+/opt/#1#2"},
      {"prefix=/opt/x\\#", "/opt/x\\#"},
      {"prefix=/opt/x#", "/opt/x#"},  // nothing behind the "#": no second piece
      {"prefix=#/opt/x", "none"},
      {"prefix=", "none"},
      {"prefix= \t", "none"},
      {"\tprefix=/opt/x", "none"},
      {"#prefix=/opt/x", "none"},
      {"prefixes=/opt/x", "none"},
      {"registry=prefix=/opt/x", "none"},
      {"PREFIX=/opt/x", "none"},
      {"prefix", "none"},
      {"", "none"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    NpmPrefix_S prefix;
    std::string shown = "none";
    if (parsePrefixLine(c.line, prefix)) shown = (prefix.hasComment ? "+" : "") + prefix.path;
    EXPECT_EQ(shown, c.want);
  }
}

TEST(ParsePkgJson, MembersAsFilesHaveThem) {
  const struct {
    const char* text;
    const char* want;
  } cases[] = {
      {R"({"name":"a","version":"1.0","scripts":{"test":"t","build":"b c"}})",
       "a|1.0|build=b c;test=t;"},
      {R"({"name":"a","version":"1.0"})", "a|1.0|no scripts"},
      {R"({"name":["a"],"version":1,"scripts":[1]})", "||no scripts"},
      {R"({"NAME":"upper","version":"1","name":"second","scripts":{}})", "upper|1|"},
      {R"({"name":"a","version":"1","scripts":{"x":"1","x":"2","y":null,"z":{"q":"r"}}})",
       "a|1|x=1;"},
      {R"([{"name":"a"}])", "||no scripts"},
      {R"("text")", "||no scripts"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const JsonHandle document(cJSON_Parse(c.text));
    NpmPkgInfoDefinition::PKG_JSON package;
    std::string scripts;
    if (!NpmPkgInfoDefinition::parsePkgJson(document.get(), package)) scripts = "no scripts";
    for (const auto& [name, command] : package.scripts) {
      scripts.append(name).append("=").append(command) += ';';
    }
    EXPECT_EQ(package.name + "|" + package.version + "|" + scripts, c.want);
  }
}

TEST(TakeMetadataLine, NameAndVersion) {
  const struct {
    const char* what;
    std::vector<const char*> lines;
    const char* want;
  } cases[] = {
      {"metadata",
       {"Metadata-Version: 2.1", "Name: requests", "Version: 2.28.1"},
       "requests|2.28.1"},
      {"any case, line ends", {"NAME: a\r", "version:\t1 \r"}, "a|1"},
      {"first wins", {"Name: a", "Name: b", "Version: 1", "Version: 2"}, "a|1"},
      {"value behind a blank", {"Name:abc", "Version: 1"}, "bc|1"},
      {"empty, then set", {"Name: a", "Version:", "Version: ", "version: 3"}, "a|3"},
      {"other keys", {" Name: a", "Metadata-Version: 2.1", "Nameless: x", "Summary: Name: x"}, "|"},
      {"colons in the value", {"Name: a:b", "Version: 1:2"}, "a:b|1:2"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    PythonMetadata_S metadata;
    for (const char* line : c.lines) takeMetadataLine(line, metadata);
    EXPECT_EQ(metadata.name + "|" + metadata.version, c.want);
  }
  PythonMetadata_S metadata;
  EXPECT_EQ(takeMetadataLine("Version:", metadata), MetadataLine::WithoutValue);
  EXPECT_EQ(takeMetadataLine("Version: ", metadata), MetadataLine::Taken);
}

TEST(ForEachBufferLine, LinesThatDontFitEndTheWalk) {
  const auto linesOf = [](const std::string& text) {
    std::string shown;
    forEachBufferLine(text, [&shown](std::string_view line) {
      shown += std::to_string(line.size()) + " ";
      return true;
    });
    return shown;
  };
  EXPECT_EQ(linesOf("a\n\n" + std::string(4095, 'x') + "\nb"), "1 0 4095 1 ");
  EXPECT_EQ(linesOf("a\n" + std::string(4096, 'x') + "\nb"), "1 ");
  EXPECT_EQ(linesOf(std::string("ab\0cd\nxyz", 9)), "2 3 ");
}
