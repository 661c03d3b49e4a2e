#pragma once

#include <string_view>

#include "results/event.h"

/// The members of the events, in the order in which people read them: from this list they are written and
/// read. `Fields<Event>::Visit(event, fields)` calls for each member
///
///   fields.Field(name, value)              what is left out keeps its value
///   fields.Need(name, value)               no reader can do without it
///   fields.Extra(name, value, is_there)    written when it is there
namespace quorle {

template <class Object>
struct Fields;

template <>
struct Fields<RunEvent> {
  static constexpr std::string_view kName = "run";
  template <class Run, class Visitor>
  static void Visit(Run& run, Visitor& fields) {
    fields.Need("version", run.version);
    // A newer stream may mean other things by the same names.
    if (run.version > kEventVersion) return;
    fields.Field("program", run.program);
    fields.Field("device", run.device);
    fields.Field("words", run.words);
    fields.Field("arguments", run.arguments);
    fields.Field("port", run.port);
    fields.Field("handler", run.handler);
    fields.Field("time", run.time);
    fields.Extra("repeat", run.repeat, run.repeat != 1);
    fields.Extra("catalogue", run.catalogue, run.catalogue != kStandardName);
  }
};

template <>
struct Fields<TargetEvent> {
  static constexpr std::string_view kName = "target";
  template <class Target, class Visitor>
  static void Visit(Target& target, Visitor& fields) {
    fields.Field("device", target.device);
    fields.Field("volume", target.volume);
    fields.Field("filesystem", target.filesystem);
    fields.Field("dostype", target.dostype);
  }
};

template <>
struct Fields<Diagnostic> {
  template <class Message, class Visitor>
  static void Visit(Message& diagnostic, Visitor& fields) {
    fields.Field("class", diagnostic.type);
    fields.Field("bold", diagnostic.bold);
    fields.Field("code", diagnostic.code);
    fields.Field("text", diagnostic.text);
  }
};

template <>
struct Fields<CheckEvent> {
  static constexpr std::string_view kName = "check";
  template <class Check, class Visitor>
  static void Visit(Check& check, Visitor& fields) {
    fields.Need("id", check.id);
    fields.Field("catalogue", check.catalogue);
    fields.Field("row", check.row);
    fields.Field("number", check.number);
    fields.Need("verdict", check.verdict);
    fields.Field("result", check.result);
    fields.Field("calls", check.calls);
    fields.Field("us", check.us);
    fields.Field("diagnostics", check.diagnostics);
    fields.Extra("cause", check.cause, !check.cause.empty());
    fields.Extra("objects", check.objects, !check.objects.empty());
    fields.Extra("why", check.why, !check.why.empty());
    fields.Extra("ambiguous", check.ambiguous, check.ambiguous);
  }
};

template <>
struct Fields<GroupEvent> {
  static constexpr std::string_view kName = "group";
  template <class Group, class Visitor>
  static void Visit(Group& group, Visitor& fields) {
    fields.Need("id", group.id);
    fields.Field("row", group.row);
    fields.Need("verdict", group.verdict);
    fields.Field("result", group.result);
    fields.Field("us", group.us);
  }
};

template <>
struct Fields<HandlerEndedEvent> {
  static constexpr std::string_view kName = "handler-ended";
  template <class Ended, class Visitor>
  static void Visit(Ended& ended, Visitor& fields) {
    fields.Field("id", ended.id);
    fields.Field("call", ended.call);
    fields.Field("how", ended.how);
    fields.Field("restarted", ended.restarted);
  }
};

template <>
struct Fields<LeftBehindEvent> {
  static constexpr std::string_view kName = "left-behind";
  template <class Left, class Visitor>
  static void Visit(Left& left, Visitor& fields) {
    fields.Field("id", left.id);
    fields.Field("object", left.object);
    fields.Field("code", left.code);
  }
};

template <>
struct Fields<ComplaintEvent> {
  static constexpr std::string_view kName = "complaint";
  template <class Complaint, class Visitor>
  static void Visit(Complaint& complaint, Visitor& fields) {
    fields.Field("id", complaint.id);
    fields.Field("text", complaint.text);
  }
};

template <>
struct Fields<RemountEvent> {
  static constexpr std::string_view kName = "remount";
  template <class Remount, class Visitor>
  static void Visit(Remount& remount, Visitor& fields) {
    fields.Field("id", remount.id);
    fields.Field("ok", remount.ok);
    fields.Field("text", remount.text);
  }
};

template <>
struct Fields<DifferenceEvent> {
  static constexpr std::string_view kName = "difference";
  template <class Difference, class Visitor>
  static void Visit(Difference& difference, Visitor& fields) {
    fields.Need("id", difference.id);
    fields.Field("rule", difference.rule);
    fields.Field("weight", difference.weight);
    fields.Field("text", difference.text);
    fields.Field("calls", difference.calls);
    fields.Field("seed", difference.seed);
    fields.Field("found_in", difference.found_in);
    fields.Field("times", difference.times);
    fields.Field("comes_again", difference.comes_again);
    fields.Field("expected", difference.expected);
    fields.Extra("reason", difference.reason, !difference.reason.empty());
  }
};

template <>
struct Fields<ExploreEvent> {
  static constexpr std::string_view kName = "explore";
  template <class Explore, class Visitor>
  static void Visit(Explore& explore, Visitor& fields) {
    fields.Field("sequences", explore.sequences);
    fields.Field("calls", explore.calls);
    fields.Field("us", explore.us);
    fields.Field("differences", explore.differences);
    fields.Field("expected", explore.expected);
    fields.Field("notes", explore.notes);
    fields.Field("traits", explore.traits);
  }
};

template <>
struct Fields<EndEvent> {
  static constexpr std::string_view kName = "end";
  template <class End, class Visitor>
  static void Visit(End& end, Visitor& fields) {
    fields.Field("result", end.result);
    fields.Field("checks", end.checks);
    fields.Field("us", end.us);
  }
};

template <>
struct Fields<CellEvent> {
  static constexpr std::string_view kName = "cell";
  template <class Cell, class Visitor>
  static void Visit(Cell& cell, Visitor& fields) {
    fields.Need("id", cell.id);
    fields.Field("arguments", cell.arguments);
    fields.Need("status", cell.status);
    fields.Extra("how", cell.how, !cell.how.empty());
    fields.Extra("expect", cell.expect, !cell.expect.empty());
  }
};

}  // namespace quorle
