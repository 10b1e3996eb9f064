// The scenario trafsim runs when it is given none: scenarios/builtin.sim,
// built into the program.
#ifndef SIMULATOR_BUILTINSCENARIO_H
#define SIMULATOR_BUILTINSCENARIO_H

namespace trafsim {

// The file's name as errors and expectations name it.
extern const char* const kBuiltinScenarioName;
extern const char* const kBuiltinScenarioText;

}  // namespace trafsim

#endif  // SIMULATOR_BUILTINSCENARIO_H
