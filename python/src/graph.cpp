// Component graphs from settings files: list the components, read and write any published
// property by name, pull, and read a component's data or spectrum as arrays; and the batch
// record the tool's `batch` command writes.
#include <memory>

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include "apps/ondrix/batch_command.h"
#include "apps/ondrix/run_command.h"
#include "bindings.h"
#include "ondrix/OndrixTools/OndrixTools.h"
#include "ondrix/framework/Settings.h"

namespace ondrix::python {

namespace {

/// A graph of components loaded from settings, owned by Python.
class Graph {
public:
  explicit Graph(std::unique_ptr<TComponent> root) : root_(std::move(root)) {}
  static Graph FromFile(const std::filesystem::path& path) {
    app::RegisterEverything();
    return Graph(LoadComponentFromFile(path.string()));
  }
  static Graph FromJson(const std::string& text) {
    app::RegisterEverything();
    return Graph(LoadComponentFromJson(text));
  }
  TComponent& At(const std::string& name) const {
    TComponent* c = FindInTree(*root_, name);
    if (!c) throw py::key_error("the graph has no component named '" + name + "'");
    return *c;
  }
  template <class T>
  T& As(const std::string& name, const char* what) const {
    auto* t = dynamic_cast<T*>(&At(name));
    if (!t) throw py::type_error(name + " is not " + what);
    return *t;
  }
  py::list Components() const {
    std::vector<TComponent*> all;
    app::CollectComponents(*root_, all);
    py::list names;
    for (TComponent* c : all) names.append(c->Name());
    return names;
  }
  py::object Pull(const std::optional<std::string>& name, long long blocks) {
    if (name) {
      TAnalysis& a = As<TAnalysis>(*name, "a processing component");
      TPipeState st;
      {
        py::gil_scoped_release released;
        st = a.Pull();
      }
      return py::str(st == pipeOK ? "ok" : st == pipeStream ? "stream" : "end");
    }
    app::TGraphRun run;
    {
      py::gil_scoped_release released;
      run = app::RunGraph(*root_, {}, blocks);
    }
    py::dict pulled;
    for (std::size_t s = 0; s < run.Sinks.size(); ++s) pulled[py::str(run.Sinks[s]->Name())] = run.Pulls[s];
    return pulled;
  }
  py::array Data(const std::string& name) const {
    const TSignal& s = As<TSignal>(name, "a signal");
    const int channels = std::max(s.ChannelCount(), 1);
    return FromVec(TVec(s.Data()), s.Data().Length() / channels, channels);
  }
  py::tuple Spectrum(const std::string& name) const {
    const TSpectrum& s = As<TSpectrum>(name, "a spectrum");
    TVec f(s.Amplt().Length());
    for (int i = 0; i < f.Length(); ++i) f.Values(i) = s.LineFrequency(i);
    return py::make_tuple(FromVec(std::move(f)), CopyOf(s.Amplt()), CopyOf(s.Phase()));
  }
  std::string Json() const { return SaveComponentToJson(*root_); }
  TComponent& Root() const { return *root_; }

private:
  std::unique_ptr<TComponent> root_;
};

}  // namespace

void BindGraph(py::module_& m) {
  py::class_<Graph>(m, "Graph",
                    "A graph of components loaded from a settings file (JSON), as `ondrix run` loads it. "
                    "Components are found by name; properties are read and written by name through the "
                    "classes' property tables.")
      .def(py::init(&Graph::FromFile), py::arg("path"), "Loads the settings file at path.")
      .def_static("from_json", &Graph::FromJson, py::arg("text"), "Loads settings given as JSON text.")
      .def("components", &Graph::Components, "Names of the components, depth first from the root.")
      .def("class_name", [](const Graph& g, const std::string& name) { return g.At(name).ClassInfo().Name; },
           py::arg("name"))
      .def("get", [](const Graph& g, const std::string& name, const std::string& prop) {
             return GetProperty(g.At(name), prop);
           },
           py::arg("component"), py::arg("property"),
           "A published property (a dotted path reaches sub-objects: 'Stats.Averaging').")
      .def("set", [](Graph& g, const std::string& name, const std::string& prop, const py::handle& value) {
             SetProperty(g.At(name), prop, value, &g.Root());
           },
           py::arg("component"), py::arg("property"), py::arg("value"),
           "Writes a published property; links take a component name.")
      .def("properties", [](const Graph& g, const std::string& name) { return Properties(g.At(name)); },
           py::arg("component"), "Every published property of a component, as a dict.")
      .def("pull", &Graph::Pull, py::arg("component") = py::none(), py::arg("blocks") = 0,
           "With a component: one pull of it, returning 'ok', 'stream' or 'end'. Without: pulls every "
           "sink (component no other one reads) in lock-step to its end, or `blocks` rounds, closes the "
           "writers and returns the blocks each sink gave.")
      .def("data", &Graph::Data, py::arg("component"), "A signal's current Data, shaped (frames, channels).")
      .def("spectrum", &Graph::Spectrum, py::arg("component"),
           "A spectrum's (frequencies, amplitude, phase) as the component holds them now.")
      .def("to_json", &Graph::Json, "The graph's settings as JSON text.");
}

void BindBatch(py::module_& m) {
  m.def("batch_record", [](const std::string& settings, const std::filesystem::path& file, const std::string& reader) {
          py::gil_scoped_release released;
          return app::BatchRecord(settings, file.string(), reader);
        },
        py::arg("settings"), py::arg("file"), py::arg("reader") = "",
        "The JSON record of one file through a graph given as settings text, exactly as `ondrix batch` writes "
        "it (one line).");
}

}  // namespace ondrix::python
