// KB files: every network, class collection and feature saved and loaded
// back bit for bit, passwords, damaged files and the failure conventions.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/formats_checks.h"
#include "support/net_compare.h"
#include "formats/kb_stream.h"
#include "oobn/class.h"
#include "runtime/allocate.h"
#include "tables/table.h"

namespace orv {
namespace {

using test::DomainPtr;

struct CollectionDeleter {
  void operator()(orv_class_collection_t cc) const { orv_cc_delete(cc); }
};
using CollectionPtr = std::unique_ptr<orv_class_collection_s, CollectionDeleter>;

std::string temp(const std::string &name) { return ::testing::TempDir() + "orvel_kb_" + name; }

// Text from the engine, freed through the allocator so that leak counts balance.
std::string take(char *text) {
  std::string s = text ? text : "(null)";
  _orv_free(text);
  return s;
}

std::string exact_text(orv_domain_t d) { return take(orv_domain_to_net_string_exact(d)); }

// The uncompressed content of a gzip file.
std::string gunzip(const std::string &path) {
  gzFile gz = gzopen(path.c_str(), "rb");
  std::string out;
  char buffer[4096];
  for (int n; gz && (n = gzread(gz, buffer, sizeof buffer)) > 0;) out.append(buffer, n);
  if (gz) gzclose(gz);
  return out;
}

DomainPtr parse_net(const std::string &path_or_text) {
  return DomainPtr(orv_net_parse_domain(path_or_text.c_str(), nullptr, nullptr));
}

// Everything visible of a domain: the exact NET text and canonical dump, the
// case data, the triangulation and, when compiled, the beliefs and means.
std::string describe_all(orv_domain_t d) {
  std::string out = exact_text(d) + test::describe_domain(d, 17) + test::describe_cases(d);
  if (orv_domain_is_triangulated(d)) {
    out += "order:";
    for (orv_node_t *n = orv_domain_get_elimination_order(d); n && *n; ++n) out += std::string(" ") + orv_node_get_name(*n);
    out += "\n";
  }
  return out;
}

// Beliefs, means and variances, expected utilities of a compiled domain.
std::vector<double> beliefs(orv_domain_t d) {
  std::vector<double> out;
  if (orv_domain_is_compiled(d)) {
    for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) {
      if (orv_node_get_category(n) == orv_category_utility) {
        out.push_back(orv_node_get_expected_utility(n, 0));
      } else if (orv_node_get_kind(n) == orv_kind_continuous) {
        out.push_back(orv_node_get_mean(n));
        out.push_back(orv_node_get_variance(n));
      } else if (orv_node_get_kind(n) == orv_kind_discrete) {
        for (size_t s = 0; s < orv_node_get_number_of_states(n); ++s) out.push_back(orv_node_get_belief(n, s));
      }
    }
  }
  return out;
}

// Saves, loads and expects the same domain; returns the loaded one.
DomainPtr round_trip(orv_domain_t d, const std::string &file, const char *password = nullptr) {
  const std::string before = describe_all(d);
  EXPECT_EQ(orv_domain_save_as_kb(d, file.c_str(), password), orv_error_none) << file;
  EXPECT_STREQ(orv_domain_get_file_name(d), file.c_str());
  DomainPtr back(orv_kb_load_domain(file.c_str(), password));
  EXPECT_NE(back, nullptr) << file << ": " << orv_error_name(orv_error_code());
  if (!back) return back;
  EXPECT_EQ(orv_domain_is_compiled(back.get()), orv_domain_is_compiled(d)) << file;
  EXPECT_STREQ(orv_domain_get_file_name(back.get()), file.c_str());
  const std::string after = describe_all(back.get());
  EXPECT_TRUE(after == before) << file << "\n" << before.substr(0, 2000) << "\n---\n" << after.substr(0, 2000);
  // Recompiled: the same junction forest, up to the order of summation.
  test::expect_all_near(beliefs(back.get()), beliefs(d), 1e-13, file);
  return back;
}

TEST(KbFile, EveryNetworkRoundTripsCompiledOrNot) {
  const std::vector<std::string> files = test::network_files({"/networks", "/em"});
  ASSERT_GE(files.size(), 40u);
  const std::string file = temp("network.kb");
  for (const std::string &net : files) {
    DomainPtr d = parse_net(net);
    ASSERT_NE(d, nullptr) << net;
    round_trip(d.get(), file);
    // Small networks also saved compiled: loaded compiled with equal beliefs.
    if (test::chain_names(d.get()).size() <= 60 && orv_domain_compile(d.get()) == orv_error_none)
      round_trip(d.get(), file);
  }
  std::remove(file.c_str());
}

// Every kind of node and table, models with exact constants, learning tables,
// a chain block, attributes, layout, case data and a triangulation.
constexpr const char *kEverything =
    "net { node_size = (80 40); author = \"tests\"; }\n"
    "node A { label = \"An A\"; position = (10 -20); states = (\"a\" \"b\"); note = \"x\"; }\n"
    "node B { states = (\"1\" \"2\" \"3\"); subtype = number; state_values = (0.1 2.5e-7 1e300); }\n"
    "node C { states = (\"lo\" \"hi\"); subtype = interval; state_values = (-infinity 0.3333333333333333 infinity); }\n"
    "node D { states = (\"u\" \"v\"); }\n"
    "node E { states = (\"u\" \"v\"); }\n"
    "node F { states = (\"false\" \"true\"); subtype = boolean; }\n"
    "continuous node X { }\n"
    "continuous node Y { position = (5 5); }\n"
    "function Fn { }\n"
    "potential (A) { data = (0.1234567891234567 0.8765432108765433); experience = (4.25); fading = (0.9); }\n"
    "potential (B | A) { model_nodes = (A); samples_per_interval = 7;"
    " model_data = (Distribution (0.123456789012345, 2, 3), Distribution (1, 1, 1)); experience = (1 -1); }\n"
    "potential (C | A) { model_nodes = (); model_data = (Normal (-2^2, 0.7071067811865476)); data = ((1 0) (0 1)); }\n"
    "potential (D E | C) { data = (((1 2) (3 4)) ((5 6) (7 8))); }\n"
    "potential (F | A) { data = ((0.3 0.7) (0.6 0.4)); }\n"
    "potential (X | A) { data = ( normal ( 1.0000000000000002, 0.1 ) normal ( -3, 2.2250738585072014e-308 ) ); }\n"
    "potential (Y | A X) { data = ( normal ( 0.5 + 1.25 * X, 1 ) normal ( -0.5 - 0.75 * X, 2 ) ); }\n"
    "potential (Fn | B) { model_nodes = (); model_data = (B * 3.14159265358979); }\n";

TEST(KbFile, EverythingADomainHoldsRoundTripsWithAndWithoutPassword) {
  DomainPtr d = parse_net(kEverything);
  ASSERT_NE(d, nullptr) << orv_error_name(orv_error_code());
  orv_domain_t dom = d.get();
  ASSERT_EQ(orv_domain_set_number_of_cases(dom, 3), orv_error_none);
  ASSERT_EQ(orv_domain_set_case_count(dom, 1, 2.5), orv_error_none);
  ASSERT_EQ(orv_node_set_case_state(orv_domain_get_node_by_name(dom, "B"), 0, 2), orv_error_none);
  ASSERT_EQ(orv_node_set_case_state(orv_domain_get_node_by_name(dom, "A"), 2, 1), orv_error_none);
  ASSERT_EQ(orv_node_set_case_value(orv_domain_get_node_by_name(dom, "X"), 1, -0.1), orv_error_none);
  const std::string text = exact_text(dom);
  EXPECT_NE(text.find("0.123456789012345"), std::string::npos) << text;  // model constants are exact
  const std::string plain = temp("everything.kb"), sealed = temp("sealed.kb");
  round_trip(dom, plain);
  round_trip(dom, sealed, "pässword");

  // The sealed file reveals no name, label or number of the model.
  const std::string content = gunzip(sealed);
  ASSERT_GT(content.size(), 8u);
  EXPECT_EQ(content.substr(0, 2), std::string("\x7D\x00", 2));
  for (const char *secret : {"An A", "Distribution", "potential", "0.1234"})
    EXPECT_EQ(content.find(secret), std::string::npos) << secret;
  EXPECT_NE(gunzip(plain).find("An A"), std::string::npos);

  // Wrong, missing and superfluous passwords.
  EXPECT_RESULT(orv_kb_load_domain(sealed.c_str(), "password"), nullptr, orv_error_bad_kb_password);
  EXPECT_RESULT(orv_kb_load_domain(sealed.c_str(), nullptr), nullptr, orv_error_bad_kb_password);
  DomainPtr ignored(orv_kb_load_domain(plain.c_str(), "unused"));
  EXPECT_NE(ignored, nullptr);

  // A triangulated domain keeps its elimination order (part of describe_all).
  DomainPtr asia = parse_net(ORVEL_DATA_DIR "/networks/asia.net");
  ASSERT_EQ(orv_domain_triangulate(asia.get(), orv_tm_fill_in_weight), orv_error_none);
  round_trip(asia.get(), plain);
  std::remove(plain.c_str());
  std::remove(sealed.c_str());
}

// Classes with what only classes have: inputs, outputs, bound, named and
// unnamed output clones, instance labels, positions and attributes, and a
// model inside a class.
constexpr const char *kClasses =
    "class Part\n{\n inputs = (I);\n outputs = (O E);\n node_size = (50 30);\n owner = \"me\";\n"
    " node I { states = (\"a\" \"b\"); }\n"
    " node O { label = \"out\"; position = (3 4); states = (\"x\" \"y\" \"z\"); note = \"n\"; }\n"
    " node E { states = (\"a\" \"b\"); }\n"
    " potential (I) { data = (0.5 0.5); }\n"
    " potential (O | I) { model_nodes = (I); model_data = (Distribution (0.2, 0.3, 0.5), Distribution (1, 1, 2)); }\n"
    " potential (E | O) { data = ((0.1 0.9) (0.2 0.8) (0.3 0.7)); }\n}\n"
    "class Whole\n{\n node S { states = (\"a\" \"b\"); }\n"
    " instance P1 : Part (I = S; K1 = O, E1 = E) { label = \"first\"; position = (10 20); tag = \"t\"; }\n"
    " instance P2 : Part (I = E1) {}\n"
    " node T { states = (\"u\" \"v\"); }\n"
    " potential (S) { data = (0.3 0.7); }\n"
    " potential (T | K1 P2.O) { data = (((0.1 0.9) (0.2 0.8) (0.3 0.7)) ((0.4 0.6) (0.5 0.5) (0.6 0.4))"
    " ((0.7 0.3) (0.8 0.2) (0.9 0.1))); }\n}\n";

TEST(KbFile, ClassCollectionsRoundTripAndTypesAreChecked) {
  const std::string file = temp("classes.kb"), domain_file = temp("domain.kb");
  for (const char *source : {ORVEL_DATA_DIR "/classes/hierarchy.net", kClasses}) {
    CollectionPtr cc(orv_new_class_collection());
    ASSERT_EQ(orv_net_parse_classes(source, cc.get(), nullptr, nullptr, nullptr), orv_error_none) << source;
    const std::string text = take(orv_cc_to_net_string(cc.get()));
    for (const char *password : {static_cast<const char *>(nullptr), "secret"}) {
      ASSERT_EQ(orv_cc_save_as_kb(cc.get(), file.c_str(), password), orv_error_none);
      CollectionPtr back(orv_kb_load_class_collection(file.c_str(), password));
      ASSERT_NE(back, nullptr) << orv_error_name(orv_error_code());
      EXPECT_EQ(take(orv_cc_to_net_string(back.get())), text);
      ASSERT_EQ(back->members.size(), cc->members.size());
      for (orv_class_s *c : cc->members) {
        orv_class_t loaded = orv_cc_get_class_by_name(back.get(), c->name.c_str());
        ASSERT_NE(loaded, nullptr) << c->name;
        EXPECT_STREQ(loaded->file_name.c_str(), file.c_str());
        DomainPtr expected(orv_class_create_domain(c));
        ASSERT_NE(expected, nullptr) << c->name << " " << orv_error_name(orv_error_code());
        DomainPtr unfolded(orv_class_create_domain(loaded));
        ASSERT_NE(unfolded, nullptr) << c->name << " " << orv_error_name(orv_error_code());
        EXPECT_EQ(describe_all(unfolded.get()), describe_all(expected.get())) << c->name;
      }
      EXPECT_RESULT(orv_kb_load_domain(file.c_str(), password), nullptr, orv_error_bad_kb_type);
    }
  }
  DomainPtr d = parse_net(ORVEL_DATA_DIR "/networks/asia.net");
  ASSERT_EQ(orv_domain_save_as_kb(d.get(), domain_file.c_str(), nullptr), orv_error_none);
  EXPECT_RESULT(orv_kb_load_class_collection(domain_file.c_str(), nullptr), nullptr, orv_error_bad_kb_type);
  std::remove(file.c_str());
  std::remove(domain_file.c_str());
}

// A two-node network section written by hand (A and B discrete chance nodes
// with two states, B's table over `table`), for the damage a file may hold
// that a flipped byte rarely reaches.
struct HandModel {
  std::string names[2] = {"A", "B"};
  orv_category_t categories[2] = {orv_category_chance, orv_category_chance};
  orv_kind_t kinds[2] = {orv_kind_discrete, orv_kind_discrete};
  std::vector<std::vector<std::uint32_t>> parents = {{}, {0}};
  std::vector<std::uint32_t> table = {0, 1};
  std::uint64_t table_size = 4;

  std::string save(const std::string &file) const {
    ByteWriter w;
    w.u64(0), w.u64(0), w.u64(0), w.u64(2);  // node size, no attributes, two nodes
    for (int i = 0; i < 2; ++i) {
      w.u8(categories[i]), w.u8(kinds[i] + 1), w.text(names[i].data(), names[i].size()), w.text("", 0);
      w.u32(0), w.u32(0), w.u64(0);
      if (kinds[i] == orv_kind_discrete) w.u8(orv_subtype_label), w.u64(2), w.u8(0), w.u64(0);
    }
    for (const auto &list : parents) {
      w.u32(static_cast<std::uint32_t>(list.size()));
      for (std::uint32_t p : list) w.u32(p);
    }
    w.u8(0), w.u8(0), w.u8(0);  // A: no table
    w.u8(1), w.u8(0), w.u8(0);
    w.u32(static_cast<std::uint32_t>(table.size()));
    for (std::uint32_t p : table) w.u32(p);
    w.u64(table_size);
    for (double v : {0.25, 0.75, 0.5, 0.5}) w.f64(v);
    w.u64(0), w.u64(0), w.u8(0), w.u64(0), w.u8(0);  // no chain potentials, cases, triangulation
    write_kb_file(file.c_str(), KbType::domain, w.bytes, nullptr);
    return file;
  }
};

TEST(KbFile, NetworksAFileCannotHoldAreRefused) {
  const std::string file = temp("hand.kb");
  DomainPtr good(orv_kb_load_domain(HandModel().save(file).c_str(), nullptr));
  ASSERT_NE(good, nullptr) << orv_error_name(orv_error_code());
  orv_node_t b = orv_domain_get_node_by_name(good.get(), "B");
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(test::names_of_parents(b), "A");
  EXPECT_EQ(b->table->data[1], 0.75);

  const std::vector<std::pair<const char *, std::function<void(HandModel &)>>> damage = {
      {"cycle", [](HandModel &m) { m.parents = {{1}, {0}}; }},
      {"self link", [](HandModel &m) { m.parents = {{}, {1}}; }},
      {"parent twice", [](HandModel &m) { m.parents = {{}, {0, 0}}; }},
      {"no such node", [](HandModel &m) { m.parents = {{}, {2}}; }},
      {"same names", [](HandModel &m) { m.names[1] = "A"; }},
      {"invalid name", [](HandModel &m) { m.names[1] = "1B"; }},
      {"table misses a parent", [](HandModel &m) { m.table = {1}; }},
      {"table node twice", [](HandModel &m) { m.table = {1, 1}; }},
      {"wrong table size", [](HandModel &m) { m.table_size = 3; }},
      {"huge table size", [](HandModel &m) { m.table_size = ~std::uint64_t{0}; }},
      {"utility parent", [](HandModel &m) { m.categories[0] = orv_category_utility, m.kinds[0] = orv_kind_other; }},
      {"continuous parent", [](HandModel &m) { m.kinds[0] = orv_kind_continuous; }},
      {"instance in a domain", [](HandModel &m) { m.categories[0] = orv_category_instance, m.kinds[0] = orv_kind_other; }},
  };
  test::LiveBlocks live;
  for (const auto &[what, change] : damage) {
    SCOPED_TRACE(what);
    HandModel m;
    change(m);
    EXPECT_RESULT(orv_kb_load_domain(m.save(file).c_str(), nullptr), nullptr, orv_error_bad_kb_format);
  }
  EXPECT_EQ(live.delta(), 0);
  std::remove(file.c_str());
}

bool is_load_error(orv_error_t e) {
  return e == orv_error_bad_kb_format || e == orv_error_bad_kb_version || e == orv_error_bad_kb_type ||
         e == orv_error_bad_kb_password;
}

TEST(KbFile, DamagedFilesAreRefusedCleanly) {
  DomainPtr d = parse_net(
      "net { }\n node A { states = (\"a\" \"b\"); }\n node B { states = (\"x\" \"y\"); }\n"
      "potential (A) { data = (0.25 0.75); }\n potential (B | A) { data = ((0.5 0.5) (0.125 0.875)); }\n");
  ASSERT_NE(d, nullptr);
  const std::string good = temp("good.kb");
  // Writes damaged bytes to one file and returns its path.
  const auto bad = [](const std::string &bytes) { return test::temp_file("orvel_kb_bad.kb", bytes); };
  ASSERT_EQ(orv_domain_save_as_kb(d.get(), good.c_str(), nullptr), orv_error_none);
  const std::string text = exact_text(d.get());
  const std::string gz = test::read_file(good), raw = gunzip(good);
  ASSERT_GT(raw.size(), 50u);
  test::LiveBlocks live;

  // Every truncation of the gzip file and of its content.
  for (const std::string *bytes : {&gz, &raw})
    for (size_t n = 0; n < bytes->size(); ++n) {
      EXPECT_EQ(orv_kb_load_domain(bad(bytes->substr(0, n)).c_str(), nullptr), nullptr) << n;
      EXPECT_TRUE(is_load_error(orv_error_code())) << n << " " << orv_error_name(orv_error_code());
    }
  // Every byte flipped: refused, or (where the byte is not part of the model,
  // e.g. a gzip time stamp, or a digit of a number) loaded as a domain.
  for (const std::string *bytes : {&gz, &raw})
    for (size_t i = 0; i < bytes->size(); ++i) {
      std::string flipped = *bytes;
      flipped[i] = static_cast<char>(flipped[i] ^ (i % 2 ? 0x01 : 0x80));
      const std::string path = bad(flipped);
      test::LiveBlocks one;
      DomainPtr loaded(orv_kb_load_domain(path.c_str(), nullptr));
      if (!loaded) {
        EXPECT_TRUE(is_load_error(orv_error_code())) << i << " " << orv_error_name(orv_error_code());
      } else if (bytes == &gz) {
        EXPECT_EQ(exact_text(loaded.get()), text) << i;  // the gzip CRC guards the content
      }
      loaded.reset();
      EXPECT_EQ(one.delta(), 0) << i;
    }
  EXPECT_EQ(live.delta(), 0);

  // Header fields: a newer version, an unknown type, another byte order.
  const struct {
    size_t at;
    char value;
    orv_error_t error;
  } fields[] = {{2, 3, orv_error_bad_kb_version}, {2, 1, orv_error_bad_kb_version}, {3, 9, orv_error_bad_kb_format},
                {4, 2, orv_error_bad_kb_format},  {5, 4, orv_error_bad_kb_format},  {7, 2, orv_error_bad_kb_format}};
  for (const auto &f : fields) {
    std::string edited = raw;
    edited[f.at] = f.value;
    EXPECT_RESULT(orv_kb_load_domain(bad(edited).c_str(), nullptr), nullptr, f.error);
  }
  // Not a KB file; no file.
  EXPECT_RESULT(orv_kb_load_domain(ORVEL_DATA_DIR "/networks/asia.net", nullptr), nullptr, orv_error_bad_kb_format);
  EXPECT_RESULT(orv_kb_load_domain(temp("missing.kb").c_str(), nullptr), nullptr, orv_error_io);

  // A sealed file altered anywhere in its sealed part is refused.
  ASSERT_EQ(orv_domain_save_as_kb(d.get(), good.c_str(), "pw"), orv_error_none);
  const std::string sealed = gunzip(good);
  for (size_t i : {size_t{8}, size_t{30}, size_t{60}, sealed.size() / 2, sealed.size() - 1}) {
    std::string flipped = sealed;
    flipped[i] = static_cast<char>(flipped[i] ^ 0x04);
    EXPECT_EQ(orv_kb_load_domain(bad(flipped).c_str(), "pw"), nullptr) << i;
    EXPECT_TRUE(is_load_error(orv_error_code())) << i << " " << orv_error_name(orv_error_code());
  }

  // A failed save leaves no file behind and the domain's file name alone.
  const std::string nowhere = temp("no_such_dir/x.kb");
  EXPECT_RESULT(orv_domain_save_as_kb(d.get(), nowhere.c_str(), nullptr), orv_error_io, orv_error_io);
  EXPECT_FALSE(std::filesystem::exists(nowhere));
  EXPECT_STREQ(orv_domain_get_file_name(d.get()), good.c_str());
  std::remove(good.c_str());
  std::remove(temp("bad.kb").c_str());
}

TEST(KbFile, NoMemoryAnywhereInSaveAndLoadLeavesNothingBehind) {
  DomainPtr d = parse_net(ORVEL_DATA_DIR "/em/asia.net");
  ASSERT_EQ(orv_domain_set_number_of_cases(d.get(), 2), orv_error_none);
  ASSERT_EQ(orv_node_set_case_state(orv_domain_get_first_node(d.get()), 1, 1), orv_error_none);
  ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
  const std::string file = temp("sweep.kb"), other = temp("sweep_other.kb");
  ASSERT_EQ(orv_domain_save_as_kb(d.get(), file.c_str(), nullptr), orv_error_none);
  const std::string bytes = gunzip(file);
  std::remove(other.c_str());
  auto save = test::expect_no_memory_sweep(
      "save", [&] { return orv_domain_save_as_kb(d.get(), other.c_str(), nullptr); },
      [&] {
        EXPECT_STREQ(orv_domain_get_file_name(d.get()), file.c_str());
        EXPECT_FALSE(std::filesystem::exists(other));
      });
  EXPECT_EQ(save.result, orv_error_none);
  EXPECT_EQ(gunzip(other), bytes);
  // Loads of a compiled domain with cases, and of models, CG blocks and learning tables.
  DomainPtr everything = parse_net(kEverything);
  for (orv_domain_t saved : {d.get(), everything.get()}) {
    ASSERT_EQ(orv_domain_save_as_kb(saved, file.c_str(), nullptr), orv_error_none);
    auto run = test::expect_no_memory_sweep("load", [&] { return orv_kb_load_domain(file.c_str(), nullptr); }, [] {});
    DomainPtr load(run.result);
    ASSERT_NE(load, nullptr);
    EXPECT_EQ(describe_all(load.get()), describe_all(saved));
    test::expect_all_near(beliefs(load.get()), beliefs(saved), 1e-13);
  }

  CollectionPtr cc(orv_new_class_collection());
  ASSERT_EQ(orv_net_parse_classes(ORVEL_DATA_DIR "/classes/hierarchy.net", cc.get(), nullptr, nullptr, nullptr),
            orv_error_none);
  ASSERT_EQ(orv_cc_save_as_kb(cc.get(), file.c_str(), nullptr), orv_error_none);
  orv_class_t top = orv_cc_get_class_by_name(cc.get(), "Top");
  test::expect_no_memory_sweep(
      "class save", [&] { return orv_cc_save_as_kb(cc.get(), other.c_str(), nullptr); },
      [&] { EXPECT_STREQ(top->file_name.c_str(), file.c_str()); });
  auto cc_load = test::expect_no_memory_sweep(
      "class load", [&] { return orv_kb_load_class_collection(file.c_str(), nullptr); }, [] {});
  ASSERT_NE(cc_load.result, nullptr);
  orv_cc_delete(cc_load.result);
  std::remove(file.c_str());
  std::remove(other.c_str());
}

TEST(KbFile, BadArgumentsAreUsageErrors) {
  DomainPtr d = parse_net(ORVEL_DATA_DIR "/networks/asia.net");
  CollectionPtr empty(orv_new_class_collection()), cc(orv_new_class_collection());
  orv_class_t k = orv_cc_new_class(cc.get());
  ASSERT_NE(k, nullptr);
  const std::string file = temp("usage.kb");
  const auto as_domain = reinterpret_cast<orv_domain_t>(k);
  test::expect_usage_calls(
      {{"null domain", [&] { return orv_domain_save_as_kb(nullptr, file.c_str(), nullptr) == orv_error_usage; }},
       {"class as domain", [&] { return orv_domain_save_as_kb(as_domain, file.c_str(), nullptr) == orv_error_usage; }},
       {"null file", [&] { return orv_domain_save_as_kb(d.get(), nullptr, nullptr) == orv_error_usage; }},
       {"null collection", [&] { return orv_cc_save_as_kb(nullptr, file.c_str(), nullptr) == orv_error_usage; }},
       {"empty collection", [&] { return orv_cc_save_as_kb(empty.get(), file.c_str(), nullptr) == orv_error_usage; }},
       {"cc null file", [&] { return orv_cc_save_as_kb(cc.get(), nullptr, nullptr) == orv_error_usage; }},
       {"load null", [&] { return orv_kb_load_domain(nullptr, nullptr) == nullptr; }},
       {"cc load null", [&] { return orv_kb_load_class_collection(nullptr, "pw") == nullptr; }}},
      [&] { return orv_domain_get_first_node(d.get()) != nullptr; });
  EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace orv
