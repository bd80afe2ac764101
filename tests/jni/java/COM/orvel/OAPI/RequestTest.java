package COM.orvel.OAPI;

import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** The typical request through the Java API against the same request through the C API. */
public final class RequestTest {
  private RequestTest() {}

  static final String DATA = System.getProperty("orvel.data");
  static final String[] NETWORKS = {"asia", "alarm", "child", "insurance", "hepar2"};

  /** The evidence of the reference cases of a network: one list of node=label per case. */
  static List<List<String>> cases(String network) throws Exception {
    String json = Files.readString(Path.of(DATA, "reference", network + ".json"));
    List<List<String>> out = new ArrayList<>();
    Matcher block = Pattern.compile("\"evidence\":\\s*\\{([^}]*)\\}").matcher(json);
    while (block.find()) {
      List<String> pairs = new ArrayList<>();
      Matcher pair = Pattern.compile("\"([^\"]+)\":\\s*\"([^\"]*)\"").matcher(block.group(1));
      while (pair.find()) pairs.add(pair.group(1) + "=" + pair.group(2));
      out.add(pairs);
    }
    return out;
  }

  static void beliefs(Domain d, StringBuilder out) {
    for (Node n : d.getNodes()) {
      double[] b = n.getBeliefs();
      for (int s = 0; s < b.length; s++) {
        out.append(n.getName()).append(' ').append(s).append(' ')
            .append(String.format("%016x", Double.doubleToRawLongBits(b[s]))).append('\n');
      }
    }
  }

  /** The request in Java: parse, compile, then per case select the states, propagate, read. */
  static String javaRequest(String file, List<List<String>> cases) {
    StringBuilder out = new StringBuilder();
    try (Domain d = Domain.parse(file)) {
      d.compile();
      beliefs(d, out);
      for (List<String> c : cases) {
        d.retractFindings();
        for (String pair : c) {
          String[] nv = pair.split("=", 2);
          Node n = d.getNodeByName(nv[0]);
          n.selectState(n.getStateIndex(nv[1]));
        }
        d.propagate();
        out.append("case\n");
        beliefs(d, out);
      }
    }
    return out.toString();
  }

  static String cRequest(String file, List<List<String>> cases) throws Exception {
    List<String> command = new ArrayList<>(List.of(System.getProperty("orvel.typical"), file));
    for (int i = 0; i < cases.size(); i++) {
      if (i > 0) command.add("--");
      command.addAll(cases.get(i));
    }
    Process p = new ProcessBuilder(command).redirectErrorStream(true).start();
    String out = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    equal(0, p.waitFor(), "C request on " + file);
    return out;
  }

  /** Beliefs equal to the C API's to the last bit, on every reference case. */
  public static void testTypicalRequestMatchesTheCApi() throws Exception {
    for (String network : NETWORKS) {
      String file = Path.of(DATA, "networks", network + ".net").toString();
      List<List<String>> cases = cases(network);
      check(cases.size() >= 2, network + " has reference cases");
      String java = javaRequest(file, cases);
      check(java.split("\ncase\n").length == cases.size() + 1, network + ": every case ran");
      equal(cRequest(file, cases), java, network + " beliefs");
    }
  }

  /** Two Java threads query two domains at once and get the single-threaded answers. */
  public static void testTwoThreadsOnTwoDomains() throws Exception {
    String[] files = {Path.of(DATA, "networks", "alarm.net").toString(),
                      Path.of(DATA, "networks", "child.net").toString()};
    List<List<List<String>>> cases = List.of(cases("alarm"), cases("child"));
    String[] expected = {javaRequest(files[0], cases.get(0)), javaRequest(files[1], cases.get(1))};
    ExecutorService threads = Executors.newFixedThreadPool(2);
    List<Future<String>> runs = new ArrayList<>();
    for (int i = 0; i < 40; i++) {
      int k = i % 2;
      runs.add(threads.submit(() -> javaRequest(files[k], cases.get(k))));
    }
    for (int i = 0; i < 40; i++) equal(expected[i % 2], runs.get(i).get(), "run " + i);
    threads.shutdown();
  }
}
