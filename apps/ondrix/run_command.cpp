#include "apps/ondrix/run_command.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "ondrix/AudioSignal/AudioSignal.h"
#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/OndrixTools/OndrixTools.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/Settings.h"

namespace ondrix::app {

void RegisterEverything() {
  RegisterClass(TComponent::StaticClassInfo());  // the usual root of a graph file
  RegisterOndrixToolsClasses();
  RegisterFileSignalClasses();
  RegisterSignalProcessingClasses();
  RegisterSignalAnalysisClasses();
  RegisterAudioSignalClasses();
}

void CollectComponents(TComponent& c, std::vector<TComponent*>& out) {
  out.push_back(&c);
  for (int i = 0; i < c.ComponentCount(); ++i) CollectComponents(*c.Components(i), out);
}

TSignalRead* FindReader(TComponent& root, const std::string& name) {
  std::vector<TComponent*> all;
  CollectComponents(root, all);
  for (TComponent* c : all)
    if (auto* r = dynamic_cast<TSignalRead*>(c); r && (name.empty() || SameText(r->Name(), name))) return r;
  return nullptr;
}

TGraphRun RunGraph(TComponent& root, const std::vector<std::string>& pull, long long blocks,
                   const std::function<void(double)>& progress) {
  std::vector<TComponent*> all;
  CollectComponents(root, all);
  std::set<const TComponent*> read;  // components some other one takes as input
  std::vector<TAnalysis*> analyses;
  for (TComponent* c : all)
    if (auto* a = dynamic_cast<TAnalysis*>(c)) {
      analyses.push_back(a);
      if (a->UsesInputs() && a->Inputs()) {
        for (int i = 0; i < a->Inputs()->Count(); ++i)
          if (auto* item = dynamic_cast<TSignalItem*>(a->Inputs()->Items(i)); item && item->Input())
            read.insert(item->Input());
      } else if (a->GetInput()) {
        read.insert(a->GetInput());
      }
    }
  TGraphRun run;
  if (!pull.empty()) {
    for (const std::string& name : pull) {
      auto it = std::find_if(analyses.begin(), analyses.end(), [&](TAnalysis* a) { return a->Name() == name; });
      if (it == analyses.end()) throw CLI::ValidationError("--pull", "the graph has no component named '" + name + "'");
      run.Sinks.push_back(*it);
    }
  } else {
    for (TAnalysis* a : analyses)
      if (!read.count(a)) run.Sinks.push_back(a);
  }
  TSignalRead* reader = FindReader(root);
  std::vector<TAnalysis*>& sinks = run.Sinks;
  run.Pulls.assign(sinks.size(), 0);
  run.Ended.assign(sinks.size(), false);
  for (long long round = 0; !sinks.empty() && (blocks == 0 || round < blocks); ++round) {
    // Mark every chain first, then pull: a source that several sinks share is computed once
    // per round, so every sink sees every block.
    for (std::size_t s = 0; s < sinks.size(); ++s)
      if (!run.Ended[s]) sinks[s]->SetDirty(false), sinks[s]->MakeDirty();
    bool any = false;
    for (std::size_t s = 0; s < sinks.size(); ++s) {
      if (run.Ended[s]) continue;
      if (sinks[s]->InternalPull() == pipeEnd) {
        run.Ended[s] = true;
      } else {
        ++run.Pulls[s];
        any = true;
      }
    }
    if (reader && progress) progress(reader->RecordPosition());
    if (!any) break;
  }
  for (TAnalysis* a : analyses)
    if (auto* w = dynamic_cast<TSignalWrite*>(a)) w->CloseFile();
  return run;
}

namespace {

struct RunOptions {
  std::string file;
  std::vector<std::string> pull;  // components pulled; default: those no other one reads
  long long blocks = 0;           // pulls per component at most; 0: until the end
  std::string describe;
  bool list = false, quiet = false;
};

const char* KindName(TPropKind k) {
  switch (k) {
    case TPropKind::Integer: return "integer";
    case TPropKind::Double: return "float";
    case TPropKind::Bool: return "boolean";
    case TPropKind::String: return "string";
    case TPropKind::Enum: return "enumeration";
    case TPropKind::Component: return "component";
    case TPropKind::Object: return "object";
    case TPropKind::Collection: return "collection";
    case TPropKind::FloatArray: return "float array";
  }
  return "?";
}

std::string ValueText(const TPropInfo& p, const TPropValue& v) {
  struct Visitor {
    const TPropInfo& p;
    std::string operator()(bool b) const { return b ? "true" : "false"; }
    std::string operator()(std::int64_t i) const {
      if (p.Kind == TPropKind::Enum && i >= 0 && static_cast<std::size_t>(i) < p.EnumNames.size())
        return p.EnumNames[static_cast<std::size_t>(i)];
      return std::to_string(i);
    }
    std::string operator()(double d) const { return ShortNumber(d); }
    std::string operator()(const std::string& s) const { return "\"" + s + "\""; }
    std::string operator()(TComponent* c) const { return c ? c->Name() : "none"; }
    std::string operator()(TPersistent*) const { return ""; }
    std::string operator()(const TFloatArray& a) const { return a.Values.empty() ? "[]" : "[...]"; }
  };
  return std::visit(Visitor{p}, v);
}

int Describe(const std::string& name) {
  const TClassInfo* info = GetClass(name);
  if (!info) throw CLI::ValidationError("--describe", "no class named '" + name.substr(0, 60) + "' (see run --list)");
  std::string chain;
  for (const TClassInfo* c = info; c; c = c->Parent) chain += (chain.empty() ? "" : " < ") + c->Name;
  std::printf("%s\n\n%-28s %-12s %s\n", chain.c_str(), "property", "type", "default");
  for (const TPropInfo* p : info->AllProperties()) {
    const bool nested = p->Kind == TPropKind::Object || p->Kind == TPropKind::Collection;
    std::string def = p->Default ? ValueText(*p, *p->Default) : nested ? "(nested)" : p->Set ? "-" : "(read-only)";
    if (p->Kind == TPropKind::Enum) {
      def += "   one of:";
      for (std::size_t i = 0; i < p->EnumNames.size(); ++i) def += (i ? ", " : " ") + p->EnumNames[i];
    }
    std::printf("%-28s %-12s %s\n", p->Name.c_str(), KindName(p->Kind), def.c_str());
  }
  return 0;
}

int Run(const RunOptions& o) {
  std::unique_ptr<TComponent> root = LoadComponentFromFile(o.file);
  TSignalRead* reader = FindReader(*root);
  Progress progress("running", reader ? reader->RecordLength() : 0.0, o.quiet);
  const TGraphRun run = RunGraph(*root, o.pull, o.blocks, [&](double position) { progress.Update(position); });
  if (run.Sinks.empty()) throw std::runtime_error(o.file + " holds no component to pull");
  const std::vector<TAnalysis*>& sinks = run.Sinks;
  const std::vector<long long>& pulls = run.Pulls;
  const std::vector<bool>& ended = run.Ended;
  for (std::size_t s = 0; s < sinks.size(); ++s) {
    TAnalysis* a = sinks[s];
    std::printf("%s (%s): %lld block(s)%s\n", a->Name().c_str(), a->ClassInfo().Name.c_str(), pulls[s],
                ended[s] ? ", to the end" : "");
    if (auto* w = dynamic_cast<TSignalWrite*>(a))
      std::printf("  wrote %s\n", w->FileName().c_str());
    else if (auto* an = dynamic_cast<TSpectrumAnalyzer*>(a)) {
      int k = 0;
      if (an->Amplt().Length() > 0) an->Amplt().Max(k);
      std::printf("  largest line %g Hz: %.8g\n%s", an->LineFrequency(k), an->Amplt().Length() ? an->Amplt().Values(k) : 0.0,
                  an->Report()->Text().c_str());
    }
  }
  return 0;
}

}  // namespace

void AddRunCommand(CLI::App& app, Commands& commands) {
  auto o = std::make_shared<RunOptions>();
  CLI::App* sub = app.add_subcommand("run", "Load a graph of components from a settings file and pull it to its end");
  sub->add_option("graph", o->file, "Settings file (JSON): components, their properties and their Input links");
  sub->add_option("--pull", o->pull, "Components to pull (default: every one that no other one reads)");
  sub->add_option("--blocks", o->blocks, "Most blocks pulled from each (0: until the sources end)")
      ->check(CLI::Range(0LL, 1LL << 50))->capture_default_str();
  sub->add_flag("--list", o->list, "List the classes a settings file may name");
  sub->add_option("--describe", o->describe, "List a class's published properties with their types and defaults");
  sub->add_flag("-q,--quiet", o->quiet, "No progress on stderr");
  sub->footer("A settings file is one JSON object: {\"class\": \"TComponent\", \"name\": \"Graph\", \"components\": "
              "[...]}, each\ncomponent {\"class\", \"name\", \"properties\": {...}} with links by name "
              "(\"Input\": \"Reader\").\nWriters are closed at the end; analyzers print their report.\n"
              "Example: ondrix run examples/graph.json");
  commands.push_back({sub, [o] {
                        RegisterEverything();
                        if (o->list) {
                          for (const TClassInfo* c : RegisteredClasses()) std::printf("%s\n", c->Name.c_str());
                          return 0;
                        }
                        if (!o->describe.empty()) return Describe(o->describe);
                        if (o->file.empty()) throw CLI::ValidationError("graph", "a settings file is required");
                        return Run(*o);
                      }});
}

}  // namespace ondrix::app
