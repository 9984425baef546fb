// The machine-readable result of a run: with VALDRN_RESULT=PATH in the
// environment, a JSON document written to PATH when the run ends. Its
// schema is docs/result.schema.json; scripts and the Ansible collection
// read it instead of the printed lines.
#pragma once

#include <string>

#include "base/interface_state.h"
#include "operations/run_result.h"

constexpr const char* RESULT_PATH_VARIABLE = "VALDRN_RESULT";

// The document, keys in a fixed order, ending with a newline; the target
// is the BMC the run's interface reached.
std::string RunResultJSON(const RunResult& result, const InterfaceChoice& interface);

// Writes the document to sPath whole or not at all (a file beside it,
// renamed over it); false after an "<ERROR> " line on standard error.
bool WriteRunResult(const std::string& sPath, const RunResult& result, const InterfaceChoice& interface);

// WriteRunResult to the path the environment names, when it names one.
// The exit status stays the run's: the work it reports was done or not
// whatever becomes of the report.
void WriteRunResultIfAsked(const RunResult& result, const InterfaceChoice& interface);
