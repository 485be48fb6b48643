#pragma once
// What made the prototypes.

#include <string_view>

namespace qvtx {

/// What made the prototypes, as far as something depends on it.
enum class Origin { other, map, clusters };

/// Labels of the methods that have an origin of their own: self-organizing map, Jarvis-Patrick.
inline constexpr const char* som_name = "Self-Organizing Map";
inline constexpr const char* cluster_name = "Jarvis-Patrick";

/// The origin that the label of a result tells.
inline Origin origin_of(std::string_view label) {
  if (label == som_name) return Origin::map;
  return label == cluster_name ? Origin::clusters : Origin::other;
}

}  // namespace qvtx
