import COM.orvel.OAPI.Domain;
import COM.orvel.OAPI.Node;
import COM.orvel.OAPI.Native.AbstractNativeOAPI;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * The Java side of the binding's cost, beside bench/binding_bench.cpp:
 * 10^7 orvNodeGetBelief calls on alarm, and the typical request on munin
 * through the Java API. usage: java -Djava.library.path=BUILD -cp orvel.jar:. BindingBench DATA_DIR
 */
public final class BindingBench {
  private BindingBench() {}

  static List<List<String[]>> cases(String data, String network) throws Exception {
    String json = Files.readString(Path.of(data, "reference", network + ".json"));
    List<List<String[]>> out = new ArrayList<>();
    Matcher block = Pattern.compile("\"evidence\":\\s*\\{([^}]*)\\}").matcher(json);
    while (block.find()) {
      List<String[]> pairs = new ArrayList<>();
      Matcher pair = Pattern.compile("\"([^\"]+)\":\\s*\"([^\"]*)\"").matcher(block.group(1));
      while (pair.find()) pairs.add(new String[] {pair.group(1), pair.group(2)});
      out.add(pairs);
    }
    return out;
  }

  static final ThreadMXBean CPU = ManagementFactory.getThreadMXBean();

  public static void main(String[] args) throws Exception {
    String data = args[0];
    AbstractNativeOAPI api = new AbstractNativeOAPI() {};
    Peer peer = new Peer();
    long alarm = api.orvNetParseDomain(peer, Path.of(data, "networks", "alarm.net").toString(), null);
    api.orvDomainCompile(alarm);
    long node = api.orvDomainGetFirstNode(alarm);
    for (int round = 0; round < 3; round++) {  // the last round is reported, after the JIT has settled
      double sum = 0;
      long start = System.nanoTime(), cpu = CPU.getCurrentThreadCpuTime();
      for (int i = 0; i < 10_000_000; i++) sum += api.orvNodeGetBelief(node, 0);
      long ns = System.nanoTime() - start, cpuNs = CPU.getCurrentThreadCpuTime() - cpu;
      if (round == 2) {
        System.out.printf("orvNodeGetBelief: %.2f ns/call, %.2f ns CPU (checksum %.1f)%n", ns / 1e7, cpuNs / 1e7, sum);
      }
    }
    api.orvDomainDelete(alarm);
    try (Domain munin = Domain.parse(Path.of(data, "networks", "munin.net").toString())) {
      munin.compile();
      List<List<String[]>> cases = cases(data, "munin");
      List<List<Object[]>> evidence = new ArrayList<>();
      for (List<String[]> c : cases) {
        List<Object[]> e = new ArrayList<>();
        for (String[] p : c) {
          Node n = munin.getNodeByName(p[0]);
          e.add(new Object[] {n, n.getStateIndex(p[1])});
        }
        evidence.add(e);
      }
      List<Node> nodes = munin.getNodes();
      double best = Double.MAX_VALUE, bestCpu = Double.MAX_VALUE, sum = 0;
      for (int round = 0; round < 10; round++) {
        long start = System.nanoTime(), cpu = CPU.getCurrentThreadCpuTime();
        for (List<Object[]> c : evidence) {
          munin.retractFindings();
          for (Object[] e : c) ((Node) e[0]).selectState((Long) e[1]);
          munin.propagate();
          for (Node n : nodes) {
            long k = n.getNumberOfStates();
            for (long s = 0; s < k; s++) sum += n.getBelief(s);
          }
        }
        best = Math.min(best, (System.nanoTime() - start) / 1e6);
        bestCpu = Math.min(bestCpu, (CPU.getCurrentThreadCpuTime() - cpu) / 1e6);
      }
      System.out.printf("typical request munin (%d cases): %.2f ms, %.2f ms CPU (best of 10; checksum %.1f)%n",
                        evidence.size(), best, bestCpu, sum);
    }
  }

  /** A bare peer for the raw natives. */
  static final class Peer {
    long modelPeer;
  }
}
