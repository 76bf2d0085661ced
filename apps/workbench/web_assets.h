// The workbench's pages, scripts and styles (apps/workbench/web), compiled into the program.
#pragma once

#include <string_view>
#include <vector>

namespace ravelin::workbench {

struct WebAsset {
  std::string_view name;  // "main.js"
  std::string_view body;
};

const std::vector<WebAsset>& WebAssets();

}  // namespace ravelin::workbench
