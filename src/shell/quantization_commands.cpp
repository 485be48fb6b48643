// Commands that quantize the data.

#include <cstdio>
#include <iostream>

#include "base/prompts.h"
#include "shell/session.h"

namespace qvtx {

namespace {

constexpr const char* ask_neurons = "  Number of neurons (integer) ? ";

}  // namespace

Outcome Session::quantized(const char* name) {
  if (!analysis_.done(VeQuan::pfindone)) refuse_because(std::string(name) + " made no prototypes");
  return Outcome::done;
}

Outcome Session::quantized(const char* name, long n) {
  if (n >= 1) return quantized(name);
  refuse(std::string(name) + " needs at least 1 prototype, not " + std::to_string(n));
  return Outcome::done;
}

Outcome Session::grown(const char* name, double radius) {
  if (radius > 0) return quantized(name);
  char text[64];
  std::snprintf(text, sizeof text, "%s needs a radius above 0, not %.3g", name, radius);
  refuse(text);
  return Outcome::done;
}

bool Session::ask_radius(const char* text, double& radius) const {
  if (!automatic()) return ask_double(text, radius);
  double confidence = 0;
  if (!ask_double("  Confidence (0.xx) ? ", confidence)) return false;
  radius = analysis_.marauto(confidence);
  return true;
}

Outcome Session::no_quantization() {
  alter().nq();
  return quantized("nq");
}

Outcome Session::g_center() {
  alter().gc();
  return quantized("gc");
}

Outcome Session::k_means() {
  long n = 0;
  if (!ask_long(ask_neurons, n)) return Outcome::given_up;
  alter().lbg(n);
  return quantized("km", n);
}

Outcome Session::dynamic_k_means() {
  double error = 0;
  if (!ask_radius("  Mean Error (numeric) ? ", error)) return Outcome::given_up;
  alter().dlbg(error);
  return quantized("dk");
}

Outcome Session::exin() {
  double radius = 0;
  if (!ask_radius("  Action radius (numeric) ? ", radius)) return Outcome::given_up;
  alter().xn(radius);
  return grown("xn", radius);
}

Outcome Session::neural_water() {
  double radius = 0;
  if (!ask_radius("  Action radius (numeric) ? ", radius)) return Outcome::given_up;
  alter().nw(radius, data_file(".nwp").c_str());
  return grown("nw", radius);
}

Outcome Session::competitive_learning() {
  long n = 0;
  if (!ask_long(ask_neurons, n)) return Outcome::given_up;
  alter().cl(n, data_file(".clp").c_str());
  return quantized("cl", n);
}

Outcome Session::fast_competitive() {
  long n = 0;
  if (!ask_long(ask_neurons, n)) return Outcome::given_up;
  alter().fcl(n, data_file(".clp").c_str());
  return quantized("fc", n);
}

Outcome Session::neural_gas() {
  long n = 0;
  if (!ask_long(ask_neurons, n)) return Outcome::given_up;
  alter().ng(n, data_file(".ngp").c_str());
  return quantized("ng", n);
}

Outcome Session::self_organizing_map() {
  long n = 0;
  double ratio = 1;
  if (!ask_long(ask_neurons, n)) return Outcome::given_up;
  if (!ask_double("  Width/length ratio (in [1.0,#neurons]) ? ", ratio)) return Outcome::given_up;
  alter().som(n, ratio, data_file(".omp").c_str());
  return quantized("om", n);
}

Outcome Session::jarvis_patrick() {
  alter().jp(data_file(".jpp").c_str());
  return quantized("jp");
}

Outcome Session::remove_lost() {
  const long removed = alter().protdel(0);
  prompt(std::to_string(removed) + " lost prototypes removed. \n");
  return Outcome::done;
}

Outcome Session::remove_copies() {
  const long removed = alter().protdel(1);
  prompt(std::to_string(removed) + " copy prototypes removed. \n");
  return Outcome::done;
}

}  // namespace qvtx
