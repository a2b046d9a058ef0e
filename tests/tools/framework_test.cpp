// The framework of the commands, with a small tree of its own.
#include <gtest/gtest.h>

#include "korvelctl/cli/command_line.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/help.h"
#include "korvelctl/cli/suggestion.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {
namespace {

constexpr Text kAny{"some help", "какая-то справка"};

int nothing(Context&) { return 0; }

/// korvelctl fruit PLACE..., korvelctl box list|drop N, with options of each kind.
class Tree : public testing::Test {
 protected:
  Tree() : root_("korvelctl", kAny) {
    root_.add("fruit", kAny, nothing)
        .flag("--ripe", ripe_, kAny)
        .text("-n,--name", "NAME", name_, kAny)
        .texts("--also", "NAME", also_, kAny)
        .number("--count", "N", count_, kAny, 1, 9)
        .choice("--color", {"red", "green"}, color_, kAny)
        .arguments("PLACE", places_, kAny, /*required=*/false)
        .example("korvelctl fruit C:\\basket", kAny);
    Command& box = root_.add("box", kAny);
    box.add("list", kAny, nothing);
    box.add("drop", kAny, nothing).argument("NUMBER", number_, kAny);
  }

  ParsedLine parse(std::vector<std::string> line) {
    return parseCommandLine(root_, std::move(line), Language::kEnglish);
  }
  std::string wrong(std::vector<std::string> line) {
    try {
      (void)parse(std::move(line));
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.kind(), ErrorKind::kUsage);
      return failure.what();
    }
    return "nothing was wrong";
  }

  Command root_;
  bool ripe_ = false;
  std::string name_, color_, number_;
  std::vector<std::string> also_, places_;
  uint64_t count_ = 0;
};

TEST_F(Tree, OptionsStandAnywhereAndFillInTheirValues) {
  const ParsedLine line = parse({"--json", "fruit", "a", "--ripe", "-n", "Ёж", "b", "--count=3", "--also",
                                 "x", "--also", "[y,z]", "--lang", "ru", "--color", "red"});
  EXPECT_EQ(line.command->fullName(), "korvelctl fruit");
  EXPECT_EQ(line.global.mode, OutputMode::kJson);
  EXPECT_EQ(line.global.language, Language::kRussian);
  EXPECT_TRUE(ripe_);
  EXPECT_EQ(name_, "Ёж");
  EXPECT_EQ(count_, 3u);
  EXPECT_EQ(color_, "red");
  EXPECT_EQ(also_, (std::vector<std::string>{"x", "[y,z]"})) << "brackets mean nothing";
  EXPECT_EQ(places_, (std::vector<std::string>{"a", "b"}));
}

TEST_F(Tree, WordsThatLookLikeCommandsOptionsOrListsAreArguments) {
  (void)parse({"fruit", "box", "[a,b]", "-", "--", "--ripe", "fruit", "--"});
  EXPECT_EQ(places_, (std::vector<std::string>{"box", "[a,b]", "-", "--ripe", "fruit", "--"}));
  EXPECT_FALSE(ripe_);
}

TEST_F(Tree, TheLastOfARepeatedOptionWins) {
  (void)parse({"fruit", "--name", "a", "--name", "b", "--ripe", "--ripe"});
  EXPECT_EQ(name_, "b");
  EXPECT_TRUE(ripe_);
}

TEST_F(Tree, EveryMistakeNamesWhatWasTyped) {
  EXPECT_EQ(wrong({}), "a command is missing");
  EXPECT_EQ(wrong({"friut"}), "unknown command 'friut'; did you mean 'fruit'?");
  EXPECT_EQ(wrong({"xyzzy"}), "unknown command 'xyzzy'");
  EXPECT_EQ(wrong({"box"}), "'korvelctl box' needs one of: list, drop");
  EXPECT_EQ(wrong({"box", "dorp", "1"}), "unknown command 'dorp'; did you mean 'drop'?");
  EXPECT_EQ(wrong({"box", "drop"}), "NUMBER is missing");
  EXPECT_EQ(wrong({"box", "drop", "1", "2"}), "unexpected argument '2'");
  EXPECT_EQ(wrong({"fruit", "--rip"}), "unknown option '--rip'; did you mean '--ripe'?");
  EXPECT_EQ(wrong({"fruit", "--count", "0"}), "--count needs a whole number from 1 to 9, not '0'");
  EXPECT_EQ(wrong({"fruit", "--count", "99999999999999999999"}),
            "--count needs a whole number from 1 to 9, not '99999999999999999999'");
  EXPECT_EQ(wrong({"fruit", "--color", "gren"}),
            "--color takes red, green, not 'gren'; did you mean 'green'?");
  EXPECT_EQ(wrong({"fruit", "--name"}), "option --name needs a value");
  EXPECT_EQ(wrong({"box", "list", "--json", "--ndjson"}), "--json, --ndjson and --format exclude each other");
  EXPECT_EQ(wrong({"fruit", "--lang", "ru", "--rip"}), "неизвестный параметр «--rip»; может быть, «--ripe»?");
}

TEST_F(Tree, HelpIsUnderstoodEverywhere) {
  for (const std::vector<std::string>& line : {std::vector<std::string>{"box", "drop", "--help"},
                                               {"box", "drop", "-h"},
                                               {"box", "drop", "/?"},
                                               {"-h", "box", "drop"}}) {
    const ParsedLine parsed = parse(line);
    EXPECT_TRUE(parsed.help);
    EXPECT_EQ(parsed.command->fullName(), "korvelctl box drop");
  }
  EXPECT_EQ(wrong({"friut", "--help"}), "unknown command 'friut'; did you mean 'fruit'?");
}

TEST_F(Tree, HelpIsTheSameInBothLanguagesButForItsWords) {
  const Command& fruit = *root_.commands()[0];
  const std::string english = helpText(fruit, Language::kEnglish, 80);
  const std::string russian = helpText(fruit, Language::kRussian, 80);
  for (const char* part : {"--ripe", "-n, --name NAME", "--count N", "--color red|green", "[PLACE...]",
                           "korvelctl fruit C:\\basket"}) {
    EXPECT_NE(english.find(part), std::string::npos) << part << "\n" << english;
    EXPECT_NE(russian.find(part), std::string::npos) << part << "\n" << russian;
  }
  EXPECT_NE(russian.find("Примеры:"), std::string::npos);
  EXPECT_EQ(std::count(english.begin(), english.end(), '\n'),
            std::count(russian.begin(), russian.end(), '\n'));
}

TEST(Suggestion, FindsWhatWasMeantAndNothingElse) {
  const std::vector<std::string> known = {"status", "scan", "stop", "quarantine"};
  EXPECT_EQ(closestWord("sttaus", known), "status");
  EXPECT_EQ(closestWord("quar", known), "quarantine");
  EXPECT_EQ(closestWord("SCAN", known), "scan");
  EXPECT_EQ(closestWord("xyz", known), "");
  EXPECT_EQ(closestWord("", known), "");
  EXPECT_EQ(closestWord(std::string(100'000, 's'), known), "");
}

TEST(ExitCode, TheWeightierOneWins) {
  const int order[] = {70, 64, 1, 3, 4, 2, 5, 0};
  for (size_t i = 0; i < std::size(order); ++i) {
    for (size_t j = i; j < std::size(order); ++j) {
      EXPECT_EQ(weightierExit(order[i], order[j]), order[i]);
      EXPECT_EQ(weightierExit(order[j], order[i]), order[i]);
    }
  }
}

/// Keeps what is written.
class Paper : public Output {
 public:
  void write(std::string_view text) override { text_ += text; }
  bool isTerminal() const override { return false; }
  size_t columns() const override { return 0; }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

class ContextTest : public testing::Test {
 protected:
  Context context(OutputMode mode = OutputMode::kTable) {
    GlobalOptions global = global_;
    global.mode = mode;
    Surroundings around;
    around.out = &out_;
    around.err = &err_;
    around.ask = [this](const std::string&) { return answer_; };
    return Context(global, around);
  }
  Json printed() const { return Json::parse(out_.text()); }

  GlobalOptions global_;
  std::optional<std::string> answer_;
  Paper out_, err_;
};

TEST_F(ContextTest, AFailureIsOneDocumentOrOneLine) {
  const Failure failure(ErrorKind::kBusy, "busy for 3 s", "wait", 231);
  Context text = context();
  EXPECT_EQ(text.fail(failure), kExitUnreachable);
  EXPECT_EQ(err_.text(), "korvelctl: busy for 3 s (win32=231)\n           wait\n");
  EXPECT_EQ(out_.text(), "");
  Context json = context(OutputMode::kJson);
  EXPECT_EQ(json.fail(failure), kExitUnreachable);
  EXPECT_EQ(printed()["schema"], "korvel.error/1");
  EXPECT_EQ(printed()["error"]["kind"], "busy");
  EXPECT_EQ(printed()["error"]["win32"], 231);
  EXPECT_EQ(printed()["exit"], 3);
}

TEST_F(ContextTest, ErrorsOfItemsAreInTheDocumentAndInTheExitCode) {
  Context json = context(OutputMode::kJson);
  json.report("17", Failure(ErrorKind::kRefused, "record not found"));
  json.document("action", {{"items", Json::array()}});
  EXPECT_EQ(printed()["schema"], "korvel.action/1");
  EXPECT_EQ(printed()["errors"][0]["item"], "17");
  EXPECT_EQ(printed()["errors"][0]["kind"], "refused");
  EXPECT_TRUE(printed()["errors"][0]["win32"].is_null());
  EXPECT_EQ(json.exitCode(kExitDone), kExitRefused);
  EXPECT_EQ(json.exitCode(kExitFound), kExitFound);
  EXPECT_EQ(err_.text(), "");
}

TEST_F(ContextTest, AQuestionNeedsSomebodyToAnswerIt) {
  try {
    context().confirm("Sure?");
    FAIL() << "nobody was there to agree";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.kind(), ErrorKind::kUsage);
    EXPECT_NE(std::string(failure.what()).find("--yes"), std::string::npos);
  }
  answer_ = "n";
  EXPECT_THROW(context().confirm("Sure?"), Failure);
  answer_ = "";
  EXPECT_THROW(context().confirm("Sure?"), Failure);
  answer_ = "да";
  EXPECT_NO_THROW(context().confirm("Sure?"));
  answer_.reset();
  global_.yes = true;
  EXPECT_NO_THROW(context().confirm("Sure?"));
}

TEST_F(ContextTest, ADocumentIsALineOfItsTypeWithNdjson) {
  Context lines = context(OutputMode::kNdjson);
  lines.line("start", {{"n", 1}});
  lines.document("scan", {{"n", 2}});
  lines.print("for people\n");
  EXPECT_EQ(out_.text(),
            "{\"type\":\"start\",\"n\":1}\n{\"type\":\"end\",\"schema\":\"korvel.scan/"
            "1\",\"n\":2,\"errors\":[]}\n");
}

TEST(Text, PlacesAreFilledOnce) { EXPECT_EQ(filled("{0} and {1}, {9} {", {"{1}", "b"}), "{1} and b, {9} {"); }

TEST(Text, RussianNounsHaveThreeForms) {
  constexpr Plural kFiles{{"file", "files"}, {"файл", "файла", "файлов"}};
  const auto noun = [&](uint64_t count) { return std::string(nounFor(count, kFiles, Language::kRussian)); };
  for (const uint64_t count : {1u, 21u, 101u}) EXPECT_EQ(noun(count), "файл") << count;
  for (const uint64_t count : {2u, 4u, 22u, 104u}) EXPECT_EQ(noun(count), "файла") << count;
  for (const uint64_t count : {0u, 5u, 11u, 12u, 14u, 19u, 111u, 214u})
    EXPECT_EQ(noun(count), "файлов") << count;
  EXPECT_EQ(nounFor(1, kFiles, Language::kEnglish), std::string("file"));
  EXPECT_EQ(nounFor(0, kFiles, Language::kEnglish), std::string("files"));
}

TEST(Texts, NumbersFollowTheLanguage) {
  EXPECT_EQ(numberText(1'214'906, Language::kEnglish), "1,214,906");
  EXPECT_EQ(numberText(214'906, Language::kRussian), "214\u00A0906");
  EXPECT_EQ(numberText(999, Language::kRussian), "999");
  EXPECT_EQ(bytesText(1023, Language::kEnglish), "1023\u00A0B");
  EXPECT_EQ(bytesText(1024, Language::kEnglish), "1.0\u00A0KiB");
  EXPECT_EQ(bytesText(196 * 1024, Language::kRussian), "196\u00A0КБ");
  EXPECT_EQ(bytesText(5'368'709'120, Language::kRussian), "5,0\u00A0ГБ");
  EXPECT_EQ(bytesText(1024 * 1024 - 1, Language::kEnglish), "1.0\u00A0MiB") << "not 1024 KiB";
  EXPECT_EQ(bytesText(UINT64_MAX, Language::kEnglish), "16.0\u00A0EiB");
}

TEST(Texts, TimesAreLocalWhereTheZoneIsKnown) {
  Look look;
  EXPECT_EQ(timeText(1'763'698'260, look), "2025-11-21 04:11 UTC");
  look.localTime = [](uint64_t utc) { return utc + 3 * 3600; };
  EXPECT_EQ(timeText(1'763'698'260, look), "2025-11-21 07:11");
  look.language = Language::kRussian;
  EXPECT_EQ(timeText(1'763'698'260, look), "21.11.2025 07:11");
  EXPECT_EQ(timeText(UINT64_MAX, look), "18446744073709551615") << "a damaged file may hold any number";
  EXPECT_EQ(isoUtc(1'763'698'260), "2025-11-21T04:11:00Z");
}

TEST(Texts, AgesUseTheLargestFullUnit) {
  EXPECT_EQ(ageText(59, Language::kEnglish), "59\u00A0s");
  EXPECT_EQ(ageText(9 * 3600 + 5, Language::kRussian), "9\u00A0ч");
  EXPECT_EQ(ageText(3 * 86'400, Language::kRussian), "3\u00A0дня");
}

TEST(Wrap, LinesKeepTheIndentOfTheFirst) {
  EXPECT_EQ(wrapped("one two three", 9, "> "), "> one two\n  three\n");
  EXPECT_EQ(wrapped("один два", 5, ""), "один\nдва\n");
  EXPECT_EQ(wrapped("a-word-that-is-longer x", 5), "a-word-that-is-longer\nx\n");
  EXPECT_EQ(wrapped("one two three", 0), "one two three\n");
}

class ListingTest : public testing::Test {
 protected:
  ListingTest() {
    listing_.addRow({{"1"}, {"7,5\u00A0КБ", "7680"}, {"C:\\a very long folder name\\another one\\file.exe"}});
    listing_.addRow({{"12"}, {"68\u00A0Б", "68"}, {"=x,\"y\""}});
  }
  std::string text(size_t columns, OutputMode mode = OutputMode::kTable) const {
    Look look;
    look.columns = columns;
    look.mode = mode;
    return listing_.text(look);
  }
  static constexpr Text kNumber{"no", "номер"}, kSize{"size", "размер"}, kFile{"file", "файл"};
  Listing listing_{{{"n", kNumber, Listing::Kind::kNumber},
                    {"size", kSize, Listing::Kind::kNumber},
                    {"path", kFile, Listing::Kind::kPath}}};
};

TEST_F(ListingTest, ColumnsAreAligned) {
  EXPECT_EQ(text(0),
            "NO    SIZE  FILE\n"
            " 1  7,5\u00A0КБ  C:\\a very long folder name\\another one\\file.exe\n"
            "12    68\u00A0Б  =x,\"y\"\n");
}

TEST_F(ListingTest, APathIsShortenedInTheMiddleOnATerminalOnly) {
  for (const size_t columns : {40u, 60u}) {
    std::string rest = text(columns);
    while (!rest.empty()) {
      const std::string line = rest.substr(0, rest.find('\n'));
      EXPECT_LE(columnsOf(line), columns) << line;
      rest.erase(0, line.size() + 1);
    }
  }
  EXPECT_NE(text(40).find("file.exe"), std::string::npos);
}

TEST_F(ListingTest, CsvHasMachineValuesAndNoFormulas) {
  EXPECT_EQ(text(40, OutputMode::kCsv),
            "n,size,path\r\n1,7680,C:\\a very long folder name\\another "
            "one\\file.exe\r\n12,68,\"'=x,\"\"y\"\"\"\r\n");
}

TEST_F(ListingTest, AListHasALinePerField) {
  EXPECT_EQ(text(0, OutputMode::kList),
            "no:    1\nsize:  7,5\u00A0КБ\nfile:  C:\\a very long folder name\\another one\\file.exe\n\n"
            "no:    12\nsize:  68\u00A0Б\nfile:  =x,\"y\"\n");
}

}  // namespace
}  // namespace korvel::ctl
