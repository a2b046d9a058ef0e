#include "korvelmock/scenes.h"

#include <algorithm>

namespace korvel::mock {

const Scene* findScene(std::string_view name) {
  const auto scenes = builtInScenes();
  const auto found =
      std::find_if(scenes.begin(), scenes.end(), [name](const Scene& scene) { return scene.name == name; });
  return found == scenes.end() ? nullptr : &*found;
}

}  // namespace korvel::mock
