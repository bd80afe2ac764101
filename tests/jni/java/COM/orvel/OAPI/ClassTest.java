package COM.orvel.OAPI;

import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;
import static COM.orvel.OAPI.TestRunner.rows;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/** Classes from Java: loading by nested parses, instances and bindings, unfolding and source lists. */
public final class ClassTest {
  private ClassTest() {}

  /** The classes of data/classes/hierarchy.net (Top > Mid > Leaf > Base), one text per class name. */
  static Map<String, String> hierarchy() throws java.io.IOException {
    String text = Files.readString(Path.of(System.getProperty("orvel.data"), "classes", "hierarchy.net"));
    Map<String, String> classes = new HashMap<>();
    for (String part : text.split("(?m)^(?=class )")) {
      if (part.startsWith("class ")) classes.put(part.substring(6, part.indexOf('\n')).trim(), part);
    }
    return classes;
  }

  /** A listener loading each class it is asked for by a nested parse; records the names asked. */
  static ClassParseListener loader(Map<String, String> classes, List<String> asked) {
    return new ClassParseListener() {
      @Override
      public void insertClass(String name, ClassCollection collection) {
        asked.add(name);
        collection.parseClasses(classes.get(name), this);
      }
    };
  }

  /** Top only: the loader brings Mid, Leaf and Base by nested calls; unfolding maps back to class nodes. */
  public static void testLoaderUnfoldsWithSources() throws Exception {
    Map<String, String> classes = hierarchy();
    List<String> asked = new ArrayList<>();
    try (ClassCollection cc = new ClassCollection()) {
      cc.parseClasses(classes.get("Top"), loader(classes, asked));
      rows("classes asked of the loader", List.of("Mid", "Leaf", "Base"), asked, "members", 4, cc.getMembers().size());
      Class top = cc.getClassByName("Top"), mid = cc.getClassByName("Mid"), base = cc.getClassByName("Base");
      check(top.getClassCollection() == cc && cc.getMembers().contains(mid), "one Java object per class");
      Node m1 = top.getNodeByName("M1");
      check(m1.getInstanceClass() == mid && mid.getInstances().size() == 2, "instances of Mid");
      check(m1.getInput(mid.getInputs().get(0)) == top.getNodeByName("A"), "M_in bound to A");
      Node w = m1.getOutputs().get(0);
      check(w.getMaster() == mid.getOutputs().get(0) && w.getInstance() == m1, "output clone W of Z");
      check(mid.getNodeByName("Z").getHomeClass() == mid, "home class");

      Domain d = top.createDomain();
      check(Domain.of(d.modelPeer) == d, "the unfolded domain has its peer");
      Node q = d.getNodeByName("M1.L1.B1.Q");
      List<Node> source = q.getSource();
      equal(List.of(m1, mid.getNodeByName("L1"), cc.getClassByName("Leaf").getNodeByName("B1"),
          base.getNodeByName("Q")), source, "source list, top instance first");
      rows("the same peers again", source, q.getSource(), "a class node has no source", List.of(),
          top.getNodeByName("A").getSource());
      d.close();
      d.close();
      check(d.isClosed() && !top.isDeleted(), "domain closed twice, class alive");
      equal(1, TestRunner.expectError(() -> mid.getNodeByName("Z").getInput(mid.getInputs().get(0)),
          "input of a node that is no instance").getCode(), "usage");
      TestRunner.expectError(() -> cc.parseClasses("class D { instance I : Gone () {} }"), "a class missing, no loader");
      equal(null, cc.getClassByName("D"), "a failed parse leaves no class");
    }
  }

  static Node labelled(Class c, String name) {
    Node n = c.newNode(Node.CHANCE, Node.DISCRETE);
    n.setName(name);
    n.setNumberOfStates(2);
    n.setStateLabel(0, "a");
    n.setStateLabel(1, "b");
    return n;
  }

  /** Classes built from Java: inputs and outputs, an instance with bindings, substitution, moving and writing. */
  public static void testBuildingClassesFromJava() throws Exception {
    try (ClassCollection cc = new ClassCollection(); ClassCollection other = new ClassCollection()) {
      Class inner = cc.newClass();
      inner.setName("Inner");
      Node in = labelled(inner, "In"), out = labelled(inner, "Out");
      out.addParent(in);
      in.addToInputs();
      out.addToOutputs();
      rows("inputs", List.of(in), inner.getInputs(), "outputs", List.of(out), inner.getOutputs(),
          "name", "Inner", inner.getName());
      Class outer = other.newClass();
      outer.setName("Outer");
      cc.addClasses(other);
      check(outer.getClassCollection() == cc && other.getMembers().isEmpty(), "Outer moved into cc");
      Node a = labelled(outer, "A"), i = outer.newInstance(inner);
      i.setName("I");
      i.setInput(in, a);
      equal(a, i.getInput(in), "In bound to A");
      Node clone = i.getOutput(out);
      check(i.getOutputs().equals(List.of(clone)) && clone.getMaster() == out && clone.getInstance() == i,
          "the output clone of Out");
      equal(1, TestRunner.expectError(inner::delete, "a class with instances").getCode(), "usage");

      cc.parseClasses("class Other { inputs = (In); outputs = (Out); node In { states = (\"a\" \"b\"); } "
          + "node Out { states = (\"a\" \"b\"); } }");
      Class replacement = cc.getClassByName("Other");
      i.substituteClass(replacement);
      Node formal = replacement.getInputs().get(0);
      check(i.getInstanceClass() == replacement && i.getInput(formal) == a, "substituted, binding kept by name");
      i.unsetInput(formal);
      equal(null, i.getInput(formal), "unbound");
      inner.delete();
      check(inner.isDeleted() && in.isDeleted(), "Inner and its nodes are gone");
      formal.removeFromInputs();
      replacement.getOutputs().get(0).removeFromOutputs();
      check(replacement.getInputs().isEmpty() && i.getOutputs().isEmpty(), "no inputs, and no clones left");

      try (Domain d = BindingTest.rain()) {
        Class rain = cc.addDomain(d);
        check(d.isClosed() && rain.getNodeByName("Wet").getParents().size() == 1, "a domain becomes a class");
      }
      Path file = Files.createTempFile("orvel", ".net");
      cc.saveAsNet(file.toString());
      try (ClassCollection copy = new ClassCollection()) {
        copy.parseClasses(file.toString());
        rows("the file holds the text", cc.toNetString(), Files.readString(file),
            "written classes read back alike", cc.toNetString(), copy.toNetString());
      }
      Files.delete(file);
    }
  }

  /**
   * A loader that throws fails the whole parse: the exception reaches the
   * caller and no new class stays, whether it throws before loading Leaf
   * (the nested parse of Mid fails) or after loading Mid and all below it
   * (the parse succeeds and its classes are undone).
   */
  public static void testThrowingLoaderLeavesNoClass() throws Exception {
    Map<String, String> classes = hierarchy();
    for (String thrower : List.of("Leaf", "Mid")) {
      List<String> asked = new ArrayList<>();
      ClassCollection cc = new ClassCollection();
      cc.parseClasses(classes.get("Base"));
      Class base = cc.getMembers().get(0);
      ClassParseListener failing = new ClassParseListener() {
        @Override
        public void insertClass(String name, ClassCollection collection) {
          if (!name.equals("Leaf")) asked.add(name);
          if (!name.equals("Leaf") || !thrower.equals("Leaf")) collection.parseClasses(classes.get(name), this);
          if (name.equals(thrower)) throw new IllegalStateException("no " + name);
        }
      };
      equal("no " + thrower, TestRunner.expectThrown(IllegalStateException.class,
          () -> cc.parseClasses(classes.get("Top"), failing), "the loader's exception").getMessage(), "its message");
      rows(thrower + ": only the class from before", List.of(base), cc.getMembers(),
          thrower + ": classes loaded", List.of("Mid"), asked);
      cc.close();
      cc.close();
      check(base.isDeleted() && cc.isClosed(), "closing the collection kills its classes");
    }
  }
}
