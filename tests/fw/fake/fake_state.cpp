#include "fw/fake/fake_state.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <stdexcept>

#include "base/text.h"
#include "base/utf.h"

namespace korvel::test::fwfake {
namespace {

// In the order of Element::Kind.
constexpr const char* kKindWords[] = {"rule", "bstr", "empty", "unknown", "null", "foreign"};

std::string escaped(const Element::Text& text) {
  if (!text) return "\\0";
  std::string result;
  for (const char c : toUtf8(*text)) {
    switch (c) {
      case '\t':
        result += "\\t";
        break;
      case '\n':
        result += "\\n";
        break;
      case '\r':
        result += "\\r";
        break;
      case '\\':
        result += "\\\\";
        break;
      default:
        result += c;
    }
  }
  return result;
}

Element::Text unescaped(const std::string& field) {
  if (field == "\\0") return std::nullopt;
  std::string result;
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\' || i + 1 == field.size()) {
      result += field[i];
      continue;
    }
    const char c = field[++i];
    result += c == 't' ? '\t' : c == 'n' ? '\n' : c == 'r' ? '\r' : c;
  }
  return toWide(result);
}

std::vector<std::string> fieldsOf(std::string_view line) {
  std::vector<std::string> fields;
  for (size_t at = 0; at <= line.size();) {
    const size_t end = std::min(line.find('\t', at), line.size());
    fields.emplace_back(line.substr(at, end - at));
    at = end + 1;
  }
  return fields;
}

int32_t number(const std::string& field) {
  return static_cast<int32_t>(std::strtol(field.c_str(), nullptr, 10));
}

void require(bool ok, std::string_view line) {
  if (!ok) throw std::runtime_error("bad line for the stand-in firewall: " + std::string(line));
}

Element parseElement(const std::vector<std::string>& fields, std::string_view line) {
  Element element;
  size_t kind = 0;
  while (kind < std::size(kKindWords) && fields[0] != kKindWords[kind]) ++kind;
  require(kind < std::size(kKindWords), line);
  element.kind = static_cast<Element::Kind>(kind);
  if (element.kind != Element::Kind::kRule) return element;
  require(fields.size() == 9, line);
  element.enabled = number(fields[1]);
  element.action = number(fields[2]);
  element.direction = number(fields[3]);
  element.protocol = number(fields[4]);
  element.profiles = number(fields[5]);
  element.name = unescaped(fields[6]);
  element.application = unescaped(fields[7]);
  element.description = unescaped(fields[8]);
  return element;
}

}  // namespace

std::string stateText(const State& state) {
  std::string text = state.quiet ? "quiet\n" : "";
  for (const auto& [type, enabled] : state.profiles) {
    text += "profile\t" + std::to_string(type) + "\t" + std::to_string(enabled) + "\n";
  }
  for (const Element& element : state.elements) {
    text += kKindWords[static_cast<size_t>(element.kind)];
    if (element.kind == Element::Kind::kRule) {
      for (const int32_t value :
           {element.enabled, element.action, element.direction, element.protocol, element.profiles}) {
        text += "\t" + std::to_string(value);
      }
      text += "\t" + escaped(element.name) + "\t" + escaped(element.application) + "\t" +
              escaped(element.description);
    }
    text += "\n";
  }
  return text;
}

State parseState(std::string_view text) {
  State state;
  LineReader lines(text);
  for (std::string_view line; lines.next(line);) {
    const std::vector<std::string> fields = fieldsOf(line);
    if (fields[0] == "quiet") {
      state.quiet = true;
      continue;
    }
    if (fields[0] != "profile") {
      state.elements.push_back(parseElement(fields, line));
      continue;
    }
    require(fields.size() == 3, line);
    state.profiles[number(fields[1])] = number(fields[2]);
  }
  return state;
}

std::string faultsText(const std::vector<Fault>& faults) {
  std::string text;
  for (const Fault& fault : faults) {
    char result[9];
    std::snprintf(result, sizeof result, "%08X", static_cast<unsigned>(fault.result));
    text += fault.call + "\t" + (fault.nth == 0 ? "*" : std::to_string(fault.nth)) + "\t" + result + "\n";
  }
  return text;
}

std::vector<Fault> parseFaults(std::string_view text) {
  std::vector<Fault> faults;
  LineReader lines(text);
  for (std::string_view line; lines.next(line);) {
    const std::vector<std::string> fields = fieldsOf(line);
    require(fields.size() == 3, line);
    const uint32_t nth = fields[1] == "*" ? 0 : static_cast<uint32_t>(number(fields[1]));
    faults.push_back({fields[0], nth, static_cast<uint32_t>(std::strtoul(fields[2].c_str(), nullptr, 16))});
  }
  return faults;
}

}  // namespace korvel::test::fwfake
