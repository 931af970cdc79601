// quillon: drives one component object from the command line.
//
//   quillon [--json] [--progress[=always]] [-c KEY[=VALUE]]... [-p NAME[(INDEX)]=VALUE]... [-g
//   NAME[(INDEX)]]...
//           [METHOD [ARGUMENT]...]
//
// Options run in the order given, then the method. --progress draws a progress line on standard
// error while a body moves, when that is a terminal (always with --progress=always). Text mode
// prints what was asked for and the events as they fire; --json prints one document at the end. Any
// failure prints its code and text and ends the program with status 1; a usage error ends it with
// status 2. For -c ReadFile=FILE the failure is the reader's: a service error document is 902 with
// its text.
#include "EventLog.h"
#include "JsonWriter.h"
#include "Methods.h"
#include "Report.h"

#include <quillon/Quillon.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <strings.h>
#include <unistd.h>
#include <vector>

using namespace quillon;
using namespace quillon::cli;

namespace {

constexpr int kStatusRefused = 151; // an HTTP status other than 2xx that was not followed

struct Step {
  enum { kConfig, kSetProperty, kGetProperty } kind;
  std::string text;
};

struct Options {
  bool json = false;
  bool progress = false;
  std::vector<Step> steps;
  const MethodEntry* method = nullptr;
  std::vector<std::string> arguments;
};

void PrintUsage(FILE* to) {
  std::fprintf(to, "usage: quillon [--json] [--progress[=always]] [-c KEY[=VALUE]]...\n"
                   "               [-p NAME[(INDEX)]=VALUE]...\n"
                   "               [-g NAME[(INDEX)]]... [METHOD [ARGUMENT]...]\n"
                   "\n"
                   "  -c KEY=VALUE   pass a Config text; a bare -c KEY prints the value\n"
                   "  -p NAME=VALUE  set a property by its public name\n"
                   "  -g NAME        print a property\n"
                   "  --json         print the outcome as one JSON document\n"
                   "  --progress     draw a progress line on a terminal's standard error\n"
                   "                 (--progress=always: also when it is no terminal)\n"
                   "  --properties   list the properties of this build\n"
                   "\nmethods:\n");
  for (const MethodEntry& method : Methods())
    std::fprintf(to, "  %s %s\n", method.name, method.usage);
}

// Splits "Name(3)" or "Name[3]" into the name and its index; -1 without one.
void SplitIndexed(const std::string& text, std::string& name, int& index) {
  index = -1;
  name = text;
  const size_t open = text.find_first_of("([");
  if (open == std::string::npos) return;
  name = text.substr(0, open);
  index = std::atoi(text.c_str() + open + 1);
}

// 0 when the arguments are good; 2 after printing the usage otherwise.
int ParseArguments(int argc, char** argv, Options& options) {
  int i = 1;
  for (; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--json") {
      options.json = true;
    } else if (arg == "--progress" || arg == "--progress=always") {
      options.progress = arg == "--progress=always" || isatty(fileno(stderr));
    } else if (arg == "-h" || arg == "--help") {
      PrintUsage(stdout);
      std::exit(0);
    } else if (arg == "--properties") {
      for (const PropertyInfo& info : Quillon::Properties())
        std::printf("%3d %s%s%s%s\n", info.id, info.name.c_str(), info.indexName.empty() ? "" : "(",
                    info.indexName.c_str(),
                    info.indexName.empty() ? (info.readOnly ? "  read-only" : "")
                                           : (info.readOnly ? ")  read-only" : ")"));
      std::exit(0);
    } else if (arg == "-c" || arg == "-p" || arg == "-g") {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "quillon: %s needs a value\n", arg.c_str());
        return 2;
      }
      const auto kind = arg == "-c"   ? Step::kConfig
                        : arg == "-p" ? Step::kSetProperty
                                      : Step::kGetProperty;
      const std::string value = argv[++i];
      if (kind == Step::kSetProperty && value.find('=') == std::string::npos) {
        std::fprintf(stderr, "quillon: -p takes NAME=VALUE\n");
        return 2;
      }
      options.steps.push_back({kind, value});
    } else if (!arg.empty() && arg[0] == '-') {
      std::fprintf(stderr, "quillon: unknown option %s\n", arg.c_str());
      PrintUsage(stderr);
      return 2;
    } else {
      break;
    }
  }
  if (i < argc) {
    options.method = FindMethod(argv[i]);
    if (!options.method) {
      std::fprintf(stderr, "quillon: unknown method %s\n", argv[i]);
      PrintUsage(stderr);
      return 2;
    }
    options.arguments.assign(argv + i + 1, argv + argc);
    const size_t n = options.arguments.size();
    if (n < options.method->minArguments || n > options.method->maxArguments) {
      std::fprintf(stderr, "quillon: usage: %s %s\n", options.method->name, options.method->usage);
      return 2;
    }
  }
  return 0;
}

// Whether a Config text sets ReadFile, whose answer is the outcome of reading the file.
bool IsReadFile(const std::string& text) {
  const size_t eq = text.find('=');
  if (eq == std::string::npos) return false;
  const size_t start = text.find_first_not_of(" \t");
  const size_t end = text.find_last_not_of(" \t", eq - 1);
  return start < eq && end != std::string::npos &&
         strncasecmp(text.c_str() + start, "ReadFile", end - start + 1) == 0 &&
         end - start + 1 == 8;
}

// Runs one option step; the values asked for go to `values` as (name, text). A ReadFile step
// gives the reader's result: 0, or the code of a service error or a broken document.
int RunStep(Quillon& component, const Step& step,
            std::vector<std::pair<std::string, std::string>>& values, bool print) {
  if (step.kind == Step::kConfig) {
    std::string answer;
    const int rc = component.Config(step.text, &answer);
    if (rc == 0 && IsReadFile(step.text)) return std::atoi(answer.c_str());
    if (rc == 0 && step.text.find('=') == std::string::npos) {
      values.emplace_back(step.text, answer);
      if (print) std::printf("%s\n", answer.c_str());
    }
    return rc;
  }
  if (step.kind == Step::kSetProperty) {
    const size_t eq = step.text.find('=');
    std::string name;
    int index;
    SplitIndexed(step.text.substr(0, eq), name, index);
    return component.SetProperty(name, index, step.text.substr(eq + 1));
  }
  std::string name, value;
  int index;
  SplitIndexed(step.text, name, index);
  const int rc = component.GetProperty(name, index, value);
  if (rc == 0) {
    values.emplace_back(step.text, value);
    if (print) std::printf("%s\n", value.c_str());
  }
  return rc;
}

} // namespace

int main(int argc, char** argv) {
  Options options;
  if (int rc = ParseArguments(argc, argv, options); rc != 0) return rc;

  Quillon component;
  EventLog events(!options.json);
  ProgressLine progress(stderr);
  if (options.progress) events.ShowProgress(&progress);
  component.SetEventHandler(&events);

  std::vector<std::pair<std::string, std::string>> values;
  int rc = 0;
  // A document that was read but gave a failure (a service error) is still shown.
  bool documentRead = false;
  for (const Step& step : options.steps) {
    rc = RunStep(component, step, values, !options.json);
    documentRead =
        step.kind == Step::kConfig && IsReadFile(step.text) && !component.RootKind().empty();
    if (rc != 0) break;
  }
  if (rc == 0 && options.method) {
    rc = options.method->run(component, options.arguments);
    if (const std::optional<std::string>& text = MethodText(); text)
      values.emplace_back(options.method->name, *text);
  }
  // The report moves the cursors, and the events that raises are not part of the outcome.
  component.SetEventHandler(nullptr);

  if (options.json) {
    JsonWriter json;
    json.BeginObject();
    json.Field("result", rc);
    json.Field("lastError", rc == 0 ? std::string() : component.ErrorDescription());
    if (!values.empty()) {
      json.Key("values");
      json.BeginObject();
      for (const auto& [name, value] : values)
        json.Field(name, value);
      json.EndObject();
    }
    WriteJsonReport(component, json);
    json.Key("events");
    events.WriteJson(json);
    json.EndObject();
    std::fputs(json.Text().c_str(), stdout);
  } else {
    if (rc == 0 || documentRead) PrintTextReport(component);
    if (const std::optional<std::string>& text = MethodText(); rc == 0 && text)
      std::printf("%s\n", text->c_str());
    if (rc == 0 && options.method) std::printf("%s: OK\n", options.method->name);
  }
  if (rc != 0) {
    std::fprintf(stderr, "quillon: error %d: %s\n", rc, component.ErrorDescription().c_str());
    // A refusal by status keeps the service's own words in the body; they are shown as they came.
    std::string body;
    if (rc == kStatusRefused && component.GetProperty("TransferredData", -1, body) == 0 &&
        !body.empty())
      std::fprintf(stderr, "quillon: the service answered:\n%s\n", body.c_str());
    return 1;
  }
  return 0;
}
