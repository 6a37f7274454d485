#include "RenderScript.h"

const char* PreviewPageScript()
{
    // The error event of an image may fire before this script runs, so images that are already
    // complete are judged by their natural width. Texts go in through textContent only.
    return R"JS(
(function () {
  "use strict";
  function showPlaceholder(img) {
    var box = img.parentNode;
    var tile = box.closest(".tile");
    var placeholder = document.createElement("div");
    placeholder.className = "tile-placeholder";
    placeholder.setAttribute("data-placeholder", "image-failed");
    var icon = document.createElement("span");
    icon.className = "tile-placeholder-icon";
    var ratio = document.createElement("span");
    ratio.className = "tile-placeholder-ratio";
    ratio.textContent = box.getAttribute("data-image-ratio") || "";
    placeholder.appendChild(icon);
    placeholder.appendChild(ratio);
    box.replaceChild(placeholder, img);
    if (tile) tile.setAttribute("data-image-state", "failed");
  }
  function showLoaded(img) {
    var tile = img.closest(".tile");
    if (tile) tile.setAttribute("data-image-state", "loaded");
  }
  function watchImages(root) {
    var images = root.querySelectorAll("img.tile-img");
    for (var i = 0; i < images.length; ++i) {
      var img = images[i];
      if (img.complete) {
        if (img.naturalWidth > 0) showLoaded(img); else showPlaceholder(img);
      } else {
        img.addEventListener("load", function (e) { showLoaded(e.target); }, { once: true });
        img.addEventListener("error", function (e) { showPlaceholder(e.target); }, { once: true });
      }
    }
  }
  // A live page draws rows again later and watches their images itself.
  window.pelmoWatchImages = watchImages;
  watchImages(document);
})();
)JS";
}
