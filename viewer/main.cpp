// The viewer: replays a trace cycle by cycle in an OpenGL window.
//
// One call of the idle callback is one animation step. There is no pacing: steps follow each other
// as fast as GLUT calls them. The end of the trace ends the program through a failed assertion.

#include <GL/glut.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Core/VisTool.h"
#include "Util/Assert.h"
#include "Util/File.h"
#include "viewer/ArchPiece.h"
#include "viewer/Display.h"
#include "viewer/Grid.h"

Grid* grid = nullptr;
VisTool* vis = nullptr;
int pictureSizeX = 830;  // in picture units; main computes both from the grid
int pictureSizeY = 830;
int doSpin = 0;
static float spin = 0.0;  // in degrees about the x axis; the other axes turn by fractions of it

void nextCycle();

// One step of spinning.
void doAnimation() {
  if (doSpin) {
    spin += 1.0F;
    if (spin > 2880.0F) {
      spin = 1.0F;
    }
  }
}

// Applies one event to the pieces. A location that the grid does not know is not guarded against.
static void Apply(const VisToolEvent* e) {
  switch (e->Class()) {
    case NETWORK_SWITCH_TRANSMISSION: {
      const auto* transmission = dynamic_cast<const NetworkSwitchTransmission*>(e);
      grid->networkSwitches[transmission->l]->Update(transmission);
      break;
    }
    case PE_FIRE: {
      const auto* fire = dynamic_cast<const PEFire*>(e);
      grid->processingElements[fire->l]->Update(fire);
      break;
    }
    case MESSAGE_SEND: {
      const auto* send = dynamic_cast<const MessageSend*>(e);
      grid->transient.push_back(new Transmission(send->from, send->to, grid));
      break;
    }
    default:
      SIM_ASSERT(0);
  }
}

// One animation step: the rest of the current cycle and the first event of the next one.
void nextCycle() {
  static Cycle currentCycle = 0;
  static int cycleUpdatePeriod = 100;
  static int periodCounter = 0;

  ++periodCounter;
  doAnimation();
  // Purged before the decay: what finishes in this step is drawn once more.
  grid->Purge();
  grid->Decay();
  for (;;) {
    VisToolEvent* e;
    if (vis->ReadEvent(e) == File::ERROR) {
      break;
    }
    SIM_ASSERT(e);
    Apply(e);
    const Cycle cycle = e->cyc;
    delete e;
    if (cycle != currentCycle) {
      currentCycle = cycle;
      if (currentCycle % static_cast<Cycle>(cycleUpdatePeriod) == 0) {
        fprintf(stderr, "Cycle = %lld\n", static_cast<long long>(currentCycle));
      }
      break;
    }
  }
  glutPostRedisplay();
}

void myDisplay() {
  glClear(GL_COLOR_BUFFER_BIT);
  glPushMatrix();
  TurnPicture(pictureSizeX, pictureSizeY, spin);
  grid->Draw();
  glPopMatrix();
  glutSwapBuffers();
}

void myReshape(int width, int height) { FitPicture(width, height, pictureSizeX, pictureSizeY); }

void myMouse(int button, int state, int /*mouseX*/, int /*mouseY*/) {
  // True in demo mode as well, where nothing runs yet: the first press there only brings it in
  // line.
  static bool going = true;

  if (state != GLUT_DOWN) {
    return;
  }
  if (button == GLUT_LEFT_BUTTON) {
    fprintf(stderr, "Left button\n");
    glutIdleFunc(going ? nullptr : nextCycle);
    going = !going;
  } else if (button == GLUT_RIGHT_BUTTON) {
    doSpin = !doSpin;
  }
}

int main(int argc, char** argv) {
  int clusters = 4;
  int domains = 2;
  int pes = 4;
  std::unique_ptr<char, decltype(&free)> fileName(strdup("-"), free);
  int fastForward = 0;
  bool demoMode = false;

  int c;
  while ((c = getopt(argc, argv, "DF:c:d:p:f:")) != -1) {
    switch (c) {
      case 'D':
        demoMode = true;
        fprintf(stderr, "demo mode\n");
        break;
      case 'F':
        fastForward = atoi(optarg);
        break;
      case 'c':
        clusters = atoi(optarg);
        break;
      case 'd':
        domains = atoi(optarg);
        break;
      case 'p':
        pes = atoi(optarg);
        break;
      case 'f':
        fileName.reset(strdup(optarg));
        break;
      default:
        // getopt has said what is wrong.
        break;
    }
  }

  grid = new Grid(static_cast<unsigned int>(clusters), static_cast<unsigned int>(domains),
                  static_cast<unsigned int>(pes));

  vis = new VisTool();
  vis->inFilename = fileName.get();
  vis->InitializeForRead();
  vis->SkipTo(static_cast<Cycle>(fastForward));

  pictureSizeX = PictureUnits(*grid);
  pictureSizeY = pictureSizeX;

  glutInit(&argc, argv);
  glutInitDisplayMode(GLUT_RGB | GLUT_DOUBLE);
  if (demoMode) {
    glutInitWindowSize(820, 820);
    glutInitWindowPosition(200, 20);
    glutIdleFunc(nullptr);
  } else {
    glutInitWindowSize(pictureSizeX, pictureSizeY);
    glutInitWindowPosition(100, 150);
    glutIdleFunc(nextCycle);
  }
  glutCreateWindow("Marrowfin");
  glutDisplayFunc(myDisplay);
  glutReshapeFunc(myReshape);
  glutMouseFunc(myMouse);
  glClearColor(1.0, 1.0, 1.0, 1.0);
  glutMainLoop();
  return 0;
}
