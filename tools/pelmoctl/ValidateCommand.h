// `pelmoctl validate FILE [--module MODULE]`: checks a preview document offline and explains
// every problem with its JSON path. Needs no bus and no store.
#pragma once

// Runs the subcommand on its own arguments (argv[0] is "validate"). Prints findings to standard
// output, one per line, and returns the exit status: 0 no errors (warnings allowed), 1 errors
// or unusable input, 2 bad usage.
int RunValidateCommand(int argc, char** argv);

// `pelmoctl schema`: the JSON Schema of a preview document on standard output.
int RunSchemaCommand(int argc, char** argv);
