// The tool's `run` command: a graph of components from a settings file, pulled to its end;
// and the graph runner that `run` and `batch` share.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "apps/ondrix/tool_common.h"

namespace ondrix {
class TAnalysis;
class TComponent;
}  // namespace ondrix

namespace ondrix::app {

/// Adds `run` to the tool.
void AddRunCommand(CLI::App& app, Commands& commands);

/// Registers the classes of every unit, so that a settings file may name any of them.
void RegisterEverything();

/// The component tree below c (c first), depth first.
void CollectComponents(TComponent& c, std::vector<TComponent*>& out);

/// The graph's file reader: the first TSignalRead of the tree (depth first) named `name`
/// (case-insensitive), or the first of all when name is empty; nullptr when there is none.
TSignalRead* FindReader(TComponent& root, const std::string& name = "");

/// What pulling a graph did: the components pulled (sinks), how many blocks each gave and
/// whether each reached its end.
struct TGraphRun {
  std::vector<TAnalysis*> Sinks;
  std::vector<long long> Pulls;
  std::vector<bool> Ended;
};

/// Pulls the sinks of the graph under root in lock-step: the components named in `pull`
/// (CLI::ValidationError for an unknown name), or by default every one that no other one
/// reads; at most `blocks` rounds (0: until every source ends). Writers are closed at the
/// end. progress, when set, gets the reader's record position after each round.
TGraphRun RunGraph(TComponent& root, const std::vector<std::string>& pull, long long blocks,
                   const std::function<void(double)>& progress = {});

}  // namespace ondrix::app
