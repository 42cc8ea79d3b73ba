#ifndef RENDER_PLOT_SVGNAMES_H
#define RENDER_PLOT_SVGNAMES_H

#include <string>

namespace marrowfin {

// Gives the parts of an SVG names of their own: NAME-1, NAME-2 and so on, in the order in which
// they are defined. Those that cairo gives come out of a counter of the process, so a second
// picture would have other bytes than the first; and two pictures on one page would take each
// other's.
std::string RenameSvgParts(const std::string& svg, const std::string& name);

// Has pictures within an SVG shown with sharp cells: cairo does not say so, and programs that show
// an SVG would blur them. The attribute is for those that know the word of SVG 1.1 alone.
std::string KeepCellsSharp(std::string svg);

}  // namespace marrowfin

#endif
