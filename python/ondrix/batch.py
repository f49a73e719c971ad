"""The same graph over many files on a Dask cluster.

``map(graph, files, client=None)`` sends one task per file. Each task builds the graph anew
from its settings on the worker that runs it, reads its file there (the path must be valid on
the workers: a shared file system, or the same paths on every machine) and returns the record
that ``ondrix batch`` writes for that file, as a dict:

    {"file": ..., "ok": True, "results": {component: {...}}}
    {"file": ..., "ok": False, "error": "<the library's message>"}

Without a client a local cluster is started (one single-threaded worker process per core,
or ``workers``) and closed at the end; its workers are new processes, so a script calls
``map`` under ``if __name__ == "__main__":``. To use a cluster, start a scheduler and workers:

    dask scheduler                          # prints tcp://HOST:8786
    dask worker tcp://HOST:8786 --nthreads 1   # on every machine, ondrix importable there

and pass ``client=distributed.Client("tcp://HOST:8786")``. A worker lost in the middle of a
batch is replaced by the scheduler's retries: its tasks run again elsewhere, and every file
still gets exactly one record.
"""

import json
import os

from . import _ondrix

__all__ = ["map", "record"]


def _settings(graph):
    """Settings text from a path, JSON text, or a Graph."""
    if isinstance(graph, _ondrix.Graph):
        return graph.to_json()
    text = str(graph)
    if text.lstrip().startswith("{"):
        return text
    with open(os.fspath(graph), encoding="utf-8") as f:
        return f.read()


def record(settings, file, reader=""):
    """One file's record (a dict) through a graph given as settings text; what each task runs."""
    return json.loads(_ondrix.batch_record(settings, os.fspath(file), reader))


def map(graph, files, client=None, reader="", workers=None, retries=3):  # noqa: A001 (the issue's name)
    """Runs the graph (settings path, JSON text or Graph) over every file on a Dask cluster.

    Returns the records in the order of ``files``. ``reader`` names the TSignalRead that reads
    each file (default: the graph's first). ``retries`` is how often a task whose worker died
    runs again before its file gets an error record.
    """
    from distributed import Client, LocalCluster, wait

    settings = _settings(graph)
    files = [os.fspath(f) for f in files]
    own = None
    if client is None:
        n = workers or max(1, min(len(files), os.cpu_count() or 1))
        cluster = LocalCluster(n_workers=n, threads_per_worker=1, processes=True, dashboard_address=None)
        own = (cluster, Client(cluster))
        client = own[1]
    try:
        futures = client.map(record, [settings] * len(files), files, [reader] * len(files), pure=False,
                             retries=retries)
        wait(futures)
        out = []
        for f, fut in zip(files, futures):
            try:
                out.append(fut.result())
            except Exception as e:  # the task itself failed (its worker died every time)
                out.append({"file": f, "ok": False, "error": f"the task failed: {e}"})
        return out
    finally:
        if own:
            own[1].close()
            own[0].close()
