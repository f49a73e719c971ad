#include "apps/ondrix/batch_command.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "apps/ondrix/run_command.h"
#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/framework/Settings.h"

namespace ondrix::app {

namespace {

using Json = nlohmann::ordered_json;

/// The value name of an enumeration property, through the class's property table.
std::string EnumText(const TObject& obj, const char* property) {
  const TPropInfo* p = obj.ClassInfo().FindProperty(property);
  const auto v = GetPropValue(obj, property);
  const auto* i = std::get_if<std::int64_t>(&v);
  if (!p || !i || *i < 0 || static_cast<std::size_t>(*i) >= p->EnumNames.size()) return "";
  return p->EnumNames[static_cast<std::size_t>(*i)];
}

/// What an analyzer holds after the run: averages, largest line, marks, THD, band levels.
Json SpectrumResult(TSpectrumAnalyzer& an) {
  Json j;
  const TVec& a = an.Amplt();
  j["averaged"] = an.Stats()->Averaged();
  j["lines"] = a.Length();
  j["hz_res"] = an.HzRes();
  j["logarithmic"] = an.Logarithmic();
  if (a.Length() > 0 && !a.Complex()) {
    int k = 0;
    const double top = a.Max(k);
    j["largest"] = {{"frequency", an.LineFrequency(k)}, {"amplitude", top}};
  }
  Json marks = Json::array();
  for (int i = 0; i < an.Marks().Count(); ++i) {
    const TMarkRecord& m = an.Marks().Values(i);
    marks.push_back({{"frequency", m.Freq}, {"amplitude", m.Amplt}});
  }
  j["marks"] = marks;
  j["thd_percent"] = an.Report()->THD();
  Json bands = Json::array();
  for (int i = 0; i < an.Bands()->Count(); ++i) {
    const TBandRecord& b = an.Bands()->Band(i);
    bands.push_back({{"nominal", b.NominalFrequency()}, {"start", b.StartFrequency()}, {"stop", b.StopFrequency()},
                     {"level", b.Level()}, {"level_db", an.Bands()->LevelDb(i)}});
  }
  j["bands"] = bands;
  return j;
}

/// A filter's design report.
Json DesignResult(const TSignalFilter& f) {
  const TDesignReport& r = f.DesignReport();
  Json bands = Json::array();
  for (const TBandReport& b : r.Bands)
    bands.push_back({{"start", b.FreqStart}, {"stop", b.FreqStop}, {"gain", b.Gain}, {"specified_db", b.Specified},
                     {"achieved_db", b.Achieved}, {"met", b.Met}});
  return {{"designed", r.Designed}, {"response", EnumText(f, "Response")}, {"length", r.Length},
          {"all_met", r.AllMet()}, {"bands", bands}};
}

/// The entry of one component: its class, its blocks when it was pulled, and what it reports.
std::optional<Json> ComponentResult(TComponent& c, const TGraphRun& run) {
  Json j;
  j["class"] = c.ClassInfo().Name;
  const auto sink = std::find(run.Sinks.begin(), run.Sinks.end(), &c);
  bool worth = sink != run.Sinks.end();
  if (worth) {
    const std::size_t s = static_cast<std::size_t>(sink - run.Sinks.begin());
    j["blocks"] = run.Pulls[s];
    j["to_the_end"] = static_cast<bool>(run.Ended[s]);
  }
  if (auto* an = dynamic_cast<TSpectrumAnalyzer*>(&c)) {
    j.update(SpectrumResult(*an));
    worth = true;
  } else if (auto* f = dynamic_cast<TSignalFilter*>(&c)) {
    j["design"] = DesignResult(*f);
    worth = true;
  } else if (auto* w = dynamic_cast<TSignalWrite*>(&c)) {
    j["file"] = w->FileName();
    j["samples"] = w->RecordLength();
    worth = true;
  } else if (auto* r = dynamic_cast<TSignalRead*>(&c)) {
    j["samples"] = r->RecordLength();
    j["channels"] = r->ChannelCount();
    j["fs"] = r->SamplingFrequency();
    worth = true;
  }
  if (!worth) return std::nullopt;
  return j;
}

/// Replaces every `what` in s by `by`.
void Replace(std::string& s, const std::string& what, const std::string& by) {
  for (std::size_t p = s.find(what); p != std::string::npos; p = s.find(what, p + by.size())) s.replace(p, what.size(), by);
}

}  // namespace

std::string BatchRecord(const std::string& settings, const std::string& file, const std::string& reader) {
  Json j;
  j["file"] = file;
  try {
    RegisterEverything();
    std::unique_ptr<TComponent> root = LoadComponentFromJson(settings);
    TSignalRead* r = FindReader(*root, reader);
    if (!r)
      throw std::runtime_error(reader.empty() ? std::string("the graph has no file reader (TSignalRead)")
                                              : "the graph has no file reader named '" + reader + "'");
    r->SetFileName(file);
    std::vector<TComponent*> all;
    CollectComponents(*root, all);
    const std::string stem = std::filesystem::path(file).stem().string();
    for (TComponent* c : all)
      if (auto* w = dynamic_cast<TSignalWrite*>(c); w && w->FileName().find("{stem}") != std::string::npos) {
        std::string name = w->FileName();
        Replace(name, "{stem}", stem);
        w->SetFileName(name);
      }
    const TGraphRun run = RunGraph(*root, {}, 0);
    if (run.Sinks.empty()) throw std::runtime_error("the graph holds no component to pull");
    Json results = Json::object();
    for (TComponent* c : all)
      if (auto e = ComponentResult(*c, run)) results[c->Name().empty() ? c->ClassInfo().Name : c->Name()] = *e;
    j["ok"] = true;
    j["results"] = results;
  } catch (const std::exception& e) {
    j["ok"] = false;
    j["error"] = e.what();
    j.erase("results");
  }
  return j.dump(-1, ' ', false, Json::error_handler_t::replace);
}

namespace {

/// The command line of `batch`.
struct BatchOptions {
  std::string graph, out = "-", reader;
  std::vector<std::string> files;
  int jobs = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  bool quiet = false;
};

/// Writes all of n bytes; false when the other end is gone.
bool WriteAll(int fd, const void* data, std::size_t n) {
  const char* p = static_cast<const char*>(data);
  while (n > 0) {
    const ssize_t w = ::write(fd, p, n);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return false;
    p += w;
    n -= static_cast<std::size_t>(w);
  }
  return true;
}

/// Reads exactly n bytes; false on end of file or error.
bool ReadAll(int fd, void* data, std::size_t n) {
  char* p = static_cast<char*>(data);
  while (n > 0) {
    const ssize_t r = ::read(fd, p, n);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    p += r;
    n -= static_cast<std::size_t>(r);
  }
  return true;
}

/// A forked worker: it reads file indices from `task`, answers each with a record on `result`
/// (a 4-byte length, then the text), and ends at the end of its task pipe.
struct Worker {
  pid_t pid = -1;
  int task = -1, result = -1;
  long current = -1;  // the file it works on, or -1 when idle
};

[[noreturn]] void WorkerLoop(int task, int result, const std::string& settings, const BatchOptions& o) {
  for (std::uint32_t index = 0; ReadAll(task, &index, sizeof index);) {
    const std::string record = index < o.files.size() ? BatchRecord(settings, o.files[index], o.reader)
                                                      : std::string("{}");
    const std::uint32_t n = static_cast<std::uint32_t>(record.size());
    if (!WriteAll(result, &n, sizeof n) || !WriteAll(result, record.data(), record.size())) break;
  }
  std::fflush(nullptr);
  ::_exit(0);
}

/// Forks a worker; `others` are the pipes of the workers already running, which it closes.
Worker Spawn(const std::string& settings, const BatchOptions& o, const std::vector<Worker>& others) {
  int task[2], result[2];
  if (::pipe(task) != 0 || ::pipe(result) != 0) throw std::runtime_error("cannot create a pipe for a worker");
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid < 0) throw std::runtime_error("cannot start a worker process");
  if (pid == 0) {
    ::close(task[1]);
    ::close(result[0]);
    for (const Worker& w : others) ::close(w.task), ::close(w.result);
    WorkerLoop(task[0], result[1], settings, o);
  }
  ::close(task[0]);
  ::close(result[1]);
  return {pid, task[1], result[0], -1};
}

/// Why a worker ended, for the record of the file it was analysing.
std::string Ending(pid_t pid) {
  int status = 0;
  if (::waitpid(pid, &status, 0) == pid) {
    if (WIFSIGNALED(status)) return std::string("the worker process ended on signal ") + std::to_string(WTERMSIG(status)) +
                                    " (" + ::strsignal(WTERMSIG(status)) + ")";
    if (WIFEXITED(status)) return "the worker process exited with status " + std::to_string(WEXITSTATUS(status));
  }
  return "the worker process ended";
}

/// Files done, failed and left on stderr (a terminal only), at most five times a second.
class FileProgress {
public:
  FileProgress(std::size_t total, bool quiet) : total_(total), shown_(!quiet && ::isatty(2)) {}
  ~FileProgress() {
    if (drawn_) std::fprintf(stderr, "\r%*s\r", 70, "");
  }
  void Update(std::size_t done, std::size_t failed) {
    if (!shown_) return;
    const auto now = std::chrono::steady_clock::now();
    if (drawn_ && now - last_ < std::chrono::milliseconds(200) && done < total_) return;
    last_ = now;
    drawn_ = true;
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    const double left = done > 0 ? elapsed / static_cast<double>(done) * static_cast<double>(total_ - done) : 0.0;
    constexpr int kWidth = 24;
    const int filled = static_cast<int>(kWidth * done / std::max<std::size_t>(total_, 1));
    std::fprintf(stderr, "\rbatch [%s%s] %zu/%zu files, %zu failed, %.0f s left   ", std::string(filled, '#').c_str(),
                 std::string(kWidth - filled, '.').c_str(), done, total_, failed, left);
  }

private:
  std::size_t total_;
  bool shown_, drawn_ = false;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now(), last_;
};

/// Hands the files to the workers one at a time and writes their records in the files' order.
int RunBatch(const BatchOptions& o) {
  std::ifstream in(o.graph, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + o.graph);
  std::stringstream text;
  text << in.rdbuf();
  const std::string settings = text.str();
  {
    // A graph that cannot load, or has no reader, fails the same way for every file.
    RegisterEverything();
    std::unique_ptr<TComponent> root = LoadComponentFromJson(settings);
    if (!FindReader(*root, o.reader))
      throw std::runtime_error(o.graph + (o.reader.empty() ? std::string(" has no file reader (TSignalRead)")
                                                           : " has no file reader named '" + o.reader + "'"));
  }
  FILE* out = stdout;
  std::unique_ptr<FILE, int (*)(FILE*)> outFile(nullptr, std::fclose);
  if (o.out != "-") {
    outFile.reset(std::fopen(o.out.c_str(), "w"));
    if (!outFile) throw std::runtime_error("cannot create " + o.out);
    out = outFile.get();
  }

  // Workers write to closed pipes only when the parent is gone; the parent must survive a
  // worker that died.
  struct sigaction ignore {}, previous {};
  ignore.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &ignore, &previous);

  const std::size_t n = o.files.size();
  std::vector<std::optional<std::string>> records(n);
  std::vector<Worker> workers;
  const int jobs = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(std::max(o.jobs, 1)), n));
  for (int k = 0; k < jobs; ++k) workers.push_back(Spawn(settings, o, workers));
  std::size_t next = 0, written = 0, done = 0, failed = 0;
  FileProgress progress(n, o.quiet);
  auto assign = [&](Worker& w) {
    if (next >= n) return;
    const std::uint32_t index = static_cast<std::uint32_t>(next);
    w.current = static_cast<long>(next++);
    if (!WriteAll(w.task, &index, sizeof index)) w.current = -1, --next;
  };
  auto finish = [&](std::size_t index, std::string record) {
    if (record.find("\"ok\":false") != std::string::npos) ++failed;
    records[index] = std::move(record);
    ++done;
    for (; written < n && records[written]; ++written) {
      std::fprintf(out, "%s\n", records[written]->c_str());
      records[written].reset();
    }
    std::fflush(out);
    progress.Update(done, failed);
  };
  for (Worker& w : workers) assign(w);
  while (done < n) {
    std::vector<pollfd> fds;
    for (const Worker& w : workers) fds.push_back({w.result, POLLIN, 0});
    if (::poll(fds.data(), fds.size(), -1) < 0) {
      if (errno == EINTR) continue;
      throw std::runtime_error("poll failed while waiting for the workers");
    }
    for (std::size_t k = 0; k < workers.size(); ++k) {
      if (!(fds[k].revents & (POLLIN | POLLHUP | POLLERR))) continue;
      Worker& w = workers[k];
      std::uint32_t size = 0;
      std::string record;
      bool ok = ReadAll(w.result, &size, sizeof size);
      if (ok) {
        record.resize(size);
        ok = ReadAll(w.result, record.data(), size);
      }
      if (ok && w.current >= 0) {
        const auto index = static_cast<std::size_t>(w.current);
        w.current = -1;
        finish(index, std::move(record));
        assign(w);
        continue;
      }
      // The worker died (a crash inside a decoder, a kill): its file gets an error record
      // and a new worker takes its place.
      ::close(w.task);
      ::close(w.result);
      const std::string why = Ending(w.pid);
      if (w.current >= 0) {
        const auto index = static_cast<std::size_t>(w.current);
        Json j;
        j["file"] = o.files[index];
        j["ok"] = false;
        j["error"] = why;
        finish(index, j.dump(-1, ' ', false, Json::error_handler_t::replace));
      }
      std::vector<Worker> others(workers);
      others.erase(others.begin() + static_cast<std::ptrdiff_t>(k));
      w = Spawn(settings, o, others);
      assign(w);
    }
  }
  for (Worker& w : workers) ::close(w.task);
  for (Worker& w : workers) {
    ::close(w.result);
    ::waitpid(w.pid, nullptr, 0);
  }
  ::sigaction(SIGPIPE, &previous, nullptr);
  if (outFile && std::fclose(outFile.release()) != 0) throw std::runtime_error("cannot write " + o.out);
  if (failed > 0) {
    std::fprintf(stderr, "ondrix: %zu of %zu files failed (see their \"error\" in the records)\n", failed, n);
    return 1;
  }
  return 0;
}

}  // namespace

void AddBatchCommand(CLI::App& app, Commands& commands) {
  auto o = std::make_shared<BatchOptions>();
  CLI::App* sub = app.add_subcommand("batch", "Run one graph over many files in parallel worker processes, one JSON line per file");
  sub->add_option("graph", o->graph, "Settings file (JSON) of the graph, as `ondrix run` takes it")->required();
  sub->add_option("files", o->files, "Signal files, each read by the graph's file reader")->required();
  sub->add_option("-j,--jobs", o->jobs, "Worker processes, one graph each (default: the processors)")->check(CLI::Range(1, 1024))
      ->capture_default_str();
  sub->add_option("-o,--out", o->out, "Results, one JSON line per file in the order given ('-': standard output)")
      ->capture_default_str();
  sub->add_option("--reader", o->reader, "The TSignalRead that reads each file (default: the graph's first)");
  sub->add_flag("-q,--quiet", o->quiet, "No progress on stderr");
  sub->footer("For each file the graph is built anew from the settings file, its reader's FileName is the file, and\n"
              "\"{stem}\" in a writer's FileName becomes the file's name without folder and extension. A line is\n"
              "{\"file\", \"ok\": true, \"results\": {component: {...}}} with the analyzers' largest line, marks, THD\n"
              "and band levels, the filters' design reports, the writers' files; or {\"file\", \"ok\": false,\n"
              "\"error\"}. A failing file does not stop the others; the exit status is then 1.\n"
              "Example: ondrix batch spectrum.json recordings/*.wav --jobs 4 --out results.jsonl");
  commands.push_back({sub, [o] { return RunBatch(*o); }});
}

}  // namespace ondrix::app
