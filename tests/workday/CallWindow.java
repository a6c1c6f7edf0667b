// A Java program with one AWT window of the given title, run from source by the `java` launcher. Prints
// "window" once the window shows; ends with its standard input.
public class CallWindow {
    public static void main(String[] args) throws Exception {
        java.awt.Frame frame = new java.awt.Frame(args[0]);
        frame.setSize(320, 200);
        frame.setVisible(true);
        System.out.println("window");
        while (System.in.read() >= 0) {
        }
        System.exit(0);
    }
}
