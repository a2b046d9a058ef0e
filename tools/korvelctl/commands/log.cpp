// log: the end of the service's log, and its rotation.
#include "base/sizes.h"
#include "base/utf.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/log_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/interrupt.h"
#include "korvelctl/machine/log_file.h"
#include "korvelctl/machine/product_paths.h"
#include "korvelctl/model/log_line.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kMostLines = 100'000;
constexpr uint64_t kMostParts = 100;
constexpr unsigned kFollowPollMs = 300;

struct TailOptions {
  uint64_t lines = 20;
  bool follow = false;
};

struct RotateOptions {
  std::string max = "10M";
  uint64_t keep = 5;
};

std::wstring logFile() { return productDataFolder() + L"\\korvel.log"; }

Json lineJson(const LogLine& line) {
  return {{"time", line.time}, {"level", line.level}, {"text", printable(line.text)}};
}

Failure unreadable(const Context& context, const std::wstring& path, uint32_t code) {
  const ErrorKind kind = code == ERROR_ACCESS_DENIED ? ErrorKind::kDenied : ErrorKind::kIo;
  if (code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND)
    return Failure(kind, context.say(words::kLogNone, {printable(path)}), {}, code);
  const std::string advice = kind == ErrorKind::kDenied ? context.say(words::kLogElevateAdvice) : "";
  return Failure(kind, context.say(words::kLogUnreadable, {printable(path)}), advice, code);
}

class LogLines {
 public:
  explicit LogLines(Context& context) : context_(context) {}

  void show(std::string_view text) {
    for (const std::string& line : collector_.take(text)) one(line);
  }
  void showRest() {
    if (const std::string rest = collector_.rest(); !rest.empty()) one(rest);
  }
  const Json& json() const { return json_; }

 private:
  void one(const std::string& line) {
    context_.print(printable(line) + "\n");
    const Json parsed = lineJson(parseLogLine(line));
    context_.line("line", parsed);
    if (context_.global().mode == OutputMode::kJson) json_.push_back(parsed);
  }

  Context& context_;
  LineCollector collector_;
  Json json_ = Json::array();
};

int tail(const TailOptions& options, Context& context) {
  const std::wstring path = logFile();
  LogReader reader(path);
  LogLines lines(context);
  std::string text;
  const uint32_t failed = reader.readLast(options.lines, text);
  // Whoever follows may begin before the service does.
  const bool later = options.follow && (failed == ERROR_FILE_NOT_FOUND || failed == ERROR_PATH_NOT_FOUND);
  if (failed != ERROR_SUCCESS && !later) throw unreadable(context, path, failed);
  lines.show(text);
  if (options.follow) {
    catchInterrupt();
    while (!interrupted()) {
      (void)reader.readNew(text);  // one that is gone or locked now may be back at the next look
      lines.show(text);
      if (text.empty()) (void)sleepUnlessInterrupted(kFollowPollMs);
    }
  }
  lines.showRest();
  Json document{{"path", toUtf8(path)}, {"size", jsonNumber(reader.size())}};
  if (context.global().mode == OutputMode::kJson) document["lines"] = lines.json();
  context.document("log", document);
  return kExitDone;
}

int rotate(const RotateOptions& options, Context& context) {
  const Language language = context.language();
  const std::optional<uint64_t> max = parseSize(options.max);
  if (!max) throw Failure(ErrorKind::kUsage, context.say(words::kLogMaxBad, {options.max}));
  const std::wstring path = logFile();
  LogReader reader(path);
  std::string ignored;
  if (const uint32_t failed = reader.readLast(0, ignored); failed != ERROR_SUCCESS)
    throw unreadable(context, path, failed);
  Json document{
      {"path", toUtf8(path)}, {"size", jsonNumber(reader.size())}, {"rotated", false}, {"kept_as", ""}};
  if (reader.size() <= *max) {
    context.print(
        context.say(words::kLogSmall, {bytesText(reader.size(), language), bytesText(*max, language)}) +
        "\n");
  } else if (context.global().dryRun) {
    context.print(context.say(words::kLogWouldRotate, {bytesText(reader.size(), language)}) + "\n");
  } else {
    context.confirm(context.say(words::kLogRotateQuestion, {std::to_string(options.keep)}));
    Rotation rotation;
    const uint32_t failed = rotateLog(path, *max, static_cast<uint32_t>(options.keep), rotation);
    if (failed != ERROR_SUCCESS) {
      const bool denied = failed == ERROR_ACCESS_DENIED;
      throw Failure(denied ? ErrorKind::kDenied : ErrorKind::kIo,
                    context.say(words::kLogNotRotated, {printable(rotation.failedAt)}),
                    denied ? context.say(words::kLogElevateAdvice) : "", failed);
    }
    context.print(
        context.say(words::kLogRotated, {bytesText(rotation.bytes, language), printable(rotation.keptAs)}) +
        "\n");
    document["rotated"] = rotation.rotated;
    document["kept_as"] = toUtf8(rotation.keptAs);
  }
  context.document("log", document);
  return kExitDone;
}

}  // namespace

void addLogCommands(Command& root) {
  Command& group = root.add("log", words::kLogHelp);
  const auto tailing = std::make_shared<TailOptions>();
  group.add("tail", words::kLogTailHelp, [tailing](Context& context) { return tail(*tailing, context); })
      .number("-n,--lines", "N", tailing->lines, words::kLogLinesHelp, 0, kMostLines)
      .flag("-f,--follow", tailing->follow, words::kLogFollowHelp)
      .check([tailing](const GlobalOptions& global) {
        if (tailing->follow && global.mode == OutputMode::kJson)
          throw Failure(ErrorKind::kUsage, words::kLogFollowNoJson.in(global.language));
      })
      .example("korvelctl log tail -n 100", words::kLogTailExample)
      .example("korvelctl log tail -f --ndjson", words::kLogFollowExample)
      .note(words::kLogTailNote);
  const auto rotating = std::make_shared<RotateOptions>();
  group
      .add("rotate", words::kLogRotateHelp,
           [rotating](Context& context) { return rotate(*rotating, context); })
      .text("--max", "SIZE", rotating->max, words::kLogMaxHelp)
      .number("--keep", "N", rotating->keep, words::kLogKeepHelp, 1, kMostParts)
      .example("korvelctl log rotate --max 50M --keep 8 --yes", words::kLogRotateExample)
      .note(words::kLogRotateNote);
}

}  // namespace korvel::ctl
