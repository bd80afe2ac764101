package COM.orvel.OAPI;

import java.util.ArrayList;
import java.util.List;

/**
 * A Bayesian network or influence diagram: create it empty or parse it from NET
 * text, add nodes, compile, enter evidence, propagate and read beliefs. Close it
 * (try-with-resources) to free the engine's memory; closing twice is harmless,
 * and every Node, Table, Clique and JunctionTree of a closed domain is dead.
 */
public class Domain implements AutoCloseable {
  public static final int EQUILIBRIUM_SUM = 11;
  public static final int EQUILIBRIUM_MAX = 12;
  public static final int MODE_NORMAL = 20;
  public static final int MODE_FAST_RETRACTION = 21;

  /** The engine's handle; 0 once the domain is closed. */
  long modelPeer;

  /** An empty domain. */
  public Domain() {
    modelPeer = Natives.API.orvNewDomain(this, 0);
    OrvelException.check();
  }

  private Domain(int unused) {}

  /** A domain object without an engine domain yet, for natives that create one. */
  static Domain empty() {
    return new Domain(0);
  }

  /** A domain parsed from NET text or read from a NET file, messages to listener. */
  public static Domain parse(String textOrFileName, ParseListener listener) {
    Domain d = new Domain(0);
    d.modelPeer = Natives.API.orvNetParseDomain(d, textOrFileName, listener);
    OrvelException.check();
    return d;
  }

  /** A domain parsed from NET text or a NET file; the messages become the exception's text. */
  public static Domain parse(String textOrFileName) {
    StringBuilder messages = new StringBuilder();
    Domain d = new Domain(0);
    d.modelPeer = Natives.API.orvNetParseDomain(d, textOrFileName, (ParseListener) (line, message) ->
        messages.append(line).append(": ").append(message).append('\n'));
    int code = Natives.API.orvErrorCode();
    if (code != 0) {
      throw OrvelException.of(code, Natives.API.orvErrorDescription(code) + "\n" + messages);
    }
    return d;
  }

  long handle() {
    if (modelPeer == 0) throw new IllegalStateException("the domain is closed");
    return modelPeer;
  }

  /** The Java object of an engine domain handle (0 gives null). */
  static Domain of(long handle) {
    return Natives.peer(handle, Natives.API::orvDomainGetBackpointer, h -> {
      Domain d = new Domain(0);
      d.modelPeer = h;
      return d;
    }, Natives.API::orvDomainSetBackpointer);
  }

  public boolean isClosed() {
    return modelPeer == 0;
  }

  /** Frees the domain and everything in it. */
  @Override
  public void close() {
    if (modelPeer == 0) return;
    Natives.API.orvDomainDelete(modelPeer);
    OrvelException.check();
  }

  /** Releases the source lists of a domain made by Class.createDomain (before changing the classes). */
  public void deleteSourceLists() {
    Natives.API.orvDomainDeleteSourceLists(handle());
    OrvelException.check();
  }

  /** A new node: category Node.CHANCE, DECISION, UTILITY or FUNCTION; kind Node.DISCRETE, ... */
  public Node newNode(int category, int kind) {
    return Node.create(handle(), category, kind);
  }

  /** The nodes, newest first (file order for a parsed domain). */
  public List<Node> getNodes() {
    return Node.all(handle());
  }

  /** The node of that name, or null. */
  public Node getNodeByName(String name) {
    return Node.byName(handle(), name);
  }

  public Domain copy() {
    Domain d = new Domain(0);
    d.modelPeer = Natives.API.orvDomainClone(d, handle());
    OrvelException.check();
    return d;
  }

  public void compile() {
    Natives.API.orvDomainCompile(handle());
    OrvelException.check();
  }

  public void uncompile() {
    Natives.API.orvDomainUncompile(handle());
    OrvelException.check();
  }

  public boolean isCompiled() {
    boolean b = Natives.API.orvDomainIsCompiled(handle());
    OrvelException.check();
    return b;
  }

  /** Propagates the evidence: EQUILIBRIUM_SUM or _MAX, MODE_NORMAL or _FAST_RETRACTION. */
  public void propagate(int equilibrium, int mode) {
    Natives.API.orvDomainPropagate(handle(), equilibrium, mode);
    OrvelException.check();
  }

  /** Sum propagation in normal mode. */
  public void propagate() {
    propagate(EQUILIBRIUM_SUM, MODE_NORMAL);
  }

  public void retractFindings() {
    Natives.API.orvDomainRetractFindings(handle());
    OrvelException.check();
  }

  /** P(evidence) of the last propagation. */
  public double getNormalizationConstant() {
    double v = Natives.API.orvDomainGetNormalizationConstant(handle());
    OrvelException.check();
    return v;
  }

  public double getLogNormalizationConstant() {
    double v = Natives.API.orvDomainGetLogNormalizationConstant(handle());
    OrvelException.check();
    return v;
  }

  public List<JunctionTree> getJunctionTrees() {
    List<JunctionTree> out = new ArrayList<>();
    for (long t = Natives.API.orvDomainGetFirstJunctionTree(handle()); t != 0; t = Natives.API.orvJTGetNext(t)) {
      out.add(JunctionTree.of(t));
    }
    OrvelException.check();
    return out;
  }

  /** The domain as NET text. */
  public String toNetString() {
    String s = Natives.API.orvDomainToNetString(handle());
    OrvelException.check();
    return s;
  }

  public void saveAsNet(String fileName) {
    Natives.API.orvDomainSaveAsNet(handle(), fileName);
    OrvelException.check();
  }

  /** Saves the domain as a KB file, sealed with the password (null: not sealed). */
  public void saveAsKB(String fileName, String password) {
    Natives.API.orvDomainSaveAsKB(handle(), fileName, password);
    OrvelException.check();
  }

  /** A domain loaded from a KB file; the password is null for a file saved without one. */
  public static Domain loadKB(String fileName, String password) {
    Domain d = new Domain(0);
    d.modelPeer = Natives.API.orvKBLoadDomain(d, fileName, password);
    OrvelException.check();
    return d;
  }

  /** Appends compilation and propagation logs to the named file (null stops logging). */
  public void setLogFile(String fileName) {
    Natives.API.orvDomainSetLogFile(handle(), fileName);
    OrvelException.check();
  }
}
