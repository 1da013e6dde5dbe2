#pragma once

#include <string>
#include <vector>

#include "app/CorvaneDocument.h"

// The names a tab shows for a document: the invocation's label, else its files' names with as
// many parent folders as it takes to tell them apart ("left/a.cpp ↔ right/a.cpp").
namespace CorvaneDocumentTitle {

// The shortest trailing parts of the paths that differ from one another: "b.txt" for
// /x/a/b.txt beside /y/c.txt, "a/b.txt" beside "c/b.txt". Paths that are equal stay their
// file names.
std::vector<std::string> distinguishingNames(const std::vector<std::string>& paths);

// The tab's title: the label, else for a merge the output's name and "(merge)", for a changeset
// the two folders it compares ("before ↔ after", or the one folder its right sides share), else
// the distinguishing names joined by " ↔ "; a changeset with several items says how many.
std::string titleOfDocument(const CorvaneDocument& document);

}  // namespace CorvaneDocumentTitle
