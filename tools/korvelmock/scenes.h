// The built-in scenes: the scripts in the folder scenes, as text. Pure and thread-safe.
#pragma once

#include <span>
#include <string_view>

namespace korvel::mock {

struct Scene {
  std::string_view name;  ///< of the file, without ".json"
  std::string_view text;
};

/// In the order of their names.
std::span<const Scene> builtInScenes();
/// Null for a name that no scene has.
const Scene* findScene(std::string_view name);

}  // namespace korvel::mock
